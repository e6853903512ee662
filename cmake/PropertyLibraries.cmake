# SPDX-License-Identifier: MIT
# The two shared libraries, put together from the folders' object libraries, and what is installed
# for programs that are built with them: headers, CMake package, pkg-config files.

include(CMakePackageConfigHelpers)

# The number in the libraries' shared-object names. It is raised by a release with which programs
# that were built before would not run (docs/compatibility.md); tests/abi looks at that.
set(PROPERTY_ABI 0)

function(property_add_shared_library Target OutputName ExportName)
  add_library(${Target} SHARED)
  add_library(Property::${ExportName} ALIAS ${Target})
  property_configure_target(${Target})
  set_target_properties(${Target} PROPERTIES
    OUTPUT_NAME ${OutputName}
    EXPORT_NAME ${ExportName}
    VERSION ${PROJECT_VERSION}
    SOVERSION ${PROPERTY_ABI})
  install(TARGETS ${Target} EXPORT PropertyTargets
    LIBRARY DESTINATION "${CMAKE_INSTALL_LIBDIR}"
      COMPONENT libraries NAMELINK_COMPONENT development)
endfunction()

property_add_shared_library(property_platform propertyplatform platform)
target_link_libraries(property_platform
  PRIVATE platform_utility platform_events platform_messaging
  PUBLIC Threads::Threads)

property_add_shared_library(property_property property property)
target_link_libraries(property_property
  PRIVATE common_properties property_interface
  PUBLIC property_platform Boost::headers)
property_set_install_rpath(property_property "${CMAKE_INSTALL_FULL_LIBDIR}")

# Only what a folder's PublicHeaders.cmake lists is installed; its other headers are its own.
function(property_install_headers Folder Component)
  include("${PROJECT_SOURCE_DIR}/${Folder}/PublicHeaders.cmake")
  list(TRANSFORM PUBLIC_HEADERS PREPEND "${PROJECT_SOURCE_DIR}/${Folder}/")
  install(FILES ${PUBLIC_HEADERS}
    DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}/property/${Folder}" COMPONENT ${Component})
endfunction()

foreach(Folder IN ITEMS
    Platform Platform/Utility Platform/Events Platform/Messaging CommonProperties PropertyInterface)
  property_install_headers(${Folder} development)
endforeach()

set(PROPERTY_PACKAGE_DIR "${CMAKE_INSTALL_LIBDIR}/cmake/Property")
configure_package_config_file(cmake/PropertyConfig.cmake.in
  "${PROJECT_BINARY_DIR}/PropertyConfig.cmake" INSTALL_DESTINATION "${PROPERTY_PACKAGE_DIR}")
write_basic_package_version_file("${PROJECT_BINARY_DIR}/PropertyConfigVersion.cmake"
  COMPATIBILITY SameMinorVersion)
install(FILES
    "${PROJECT_BINARY_DIR}/PropertyConfig.cmake"
    "${PROJECT_BINARY_DIR}/PropertyConfigVersion.cmake"
    "${PROJECT_SOURCE_DIR}/cmake/PropertySchema.cmake"
  DESTINATION "${PROPERTY_PACKAGE_DIR}" COMPONENT development)
install(EXPORT PropertyTargets NAMESPACE Property::
  DESTINATION "${PROPERTY_PACKAGE_DIR}" COMPONENT development)

# The way from the pkg-config files up to the prefix: an installed tree may be moved.
file(RELATIVE_PATH PROPERTY_PREFIX_FROM_PKGCONFIG "/${CMAKE_INSTALL_LIBDIR}/pkgconfig" "/")
function(property_install_pkgconfig Package Component)
  configure_file("${PROJECT_SOURCE_DIR}/cmake/${Package}.pc.in"
    "${PROJECT_BINARY_DIR}/${Package}.pc" @ONLY)
  install(FILES "${PROJECT_BINARY_DIR}/${Package}.pc"
    DESTINATION "${CMAKE_INSTALL_LIBDIR}/pkgconfig" COMPONENT ${Component})
endfunction()

property_install_pkgconfig(property-platform development)
property_install_pkgconfig(property development)
