# SPDX-License-Identifier: MIT
# Schemas as libraries, for programs that know no property by themselves.
include(GNUInstallDirs)

# property_add_schema(NAME [NO_INSTALL] source...): builds NAME.so of sources that declare schema
# nodes. Unless told otherwise it is installed into the folder where the programs look for schemas,
# ${CMAKE_INSTALL_LIBDIR}/property/schema. Sources may be shared with programs that use the nodes.
function(property_add_schema Name)
  cmake_parse_arguments(PARSE_ARGV 1 ARG "NO_INSTALL" "" "")
  add_library(${Name} MODULE ${ARG_UNPARSED_ARGUMENTS})
  target_compile_features(${Name} PRIVATE cxx_std_17)
  target_link_libraries(${Name} PRIVATE Property::property)
  # Its names are its own: two libraries may use the same ones.
  set_target_properties(${Name} PROPERTIES
    PREFIX ""
    LINKER_LANGUAGE CXX
    CXX_VISIBILITY_PRESET hidden
    VISIBILITY_INLINES_HIDDEN ON)
  # What is missing is better told here than where it is loaded. Sanitizers are found only there.
  if(NOT "${CMAKE_CXX_FLAGS} ${PROPERTY_SANITIZE}" MATCHES "sanitize|address|thread")
    target_link_options(${Name} PRIVATE LINKER:--no-undefined)
  endif()
  if(NOT ARG_NO_INSTALL)
    install(TARGETS ${Name} LIBRARY
      DESTINATION "${CMAKE_INSTALL_LIBDIR}/property/schema" COMPONENT schemas)
  endif()
endfunction()
