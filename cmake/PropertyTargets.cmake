# SPDX-License-Identifier: MIT
# What every target of the project shares: language level, warnings, sanitizers, coverage.

add_library(property_options INTERFACE)
target_compile_features(property_options INTERFACE cxx_std_17)
target_compile_options(property_options INTERFACE
  -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wsign-conversion -Wformat=2
  -Wnon-virtual-dtor -Wold-style-cast -Wcast-align -Wundef
  # Hiding a base's overload is part of the public interface (a field's own default and visibility).
  -Wno-overloaded-virtual)
if(PROPERTY_WERROR)
  target_compile_options(property_options INTERFACE -Werror)
endif()
if(PROPERTY_SANITIZE)
  target_compile_options(property_options INTERFACE
    -fsanitize=${PROPERTY_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
  target_link_options(property_options INTERFACE -fsanitize=${PROPERTY_SANITIZE})
endif()
if(PROPERTY_COVERAGE)
  target_compile_options(property_options INTERFACE --coverage -fprofile-update=atomic)
  target_link_options(property_options INTERFACE --coverage)
endif()

# The libraries' own calls go to their own functions: no program may put another in their place, so
# the compiler may inline them and the linker need not look them up at run time.
target_compile_options(property_options INTERFACE -fno-semantic-interposition)
target_link_options(property_options INTERFACE LINKER:-Bsymbolic-functions)

# Lets an installed target in the folder find the installed libraries, also when the whole tree is
# moved.
function(property_set_install_rpath Target Folder)
  if(PROPERTY_RPATH)
    file(RELATIVE_PATH Way "${Folder}" "${CMAKE_INSTALL_FULL_LIBDIR}")
    string(REGEX REPLACE "/$" "" Place "$ORIGIN/${Way}")
    set_target_properties(${Target} PROPERTIES INSTALL_RPATH "${Place}")
  endif()
endfunction()

# Gives a target the project's options and the repository root as its include root.
function(property_configure_target Target)
  target_link_libraries(${Target} PRIVATE property_options)
  target_include_directories(${Target} PUBLIC
    $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}>
    $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}/property>)
  set_target_properties(${Target} PROPERTIES
    CXX_EXTENSIONS OFF
    CXX_VISIBILITY_PRESET hidden
    VISIBILITY_INLINES_HIDDEN ON
    POSITION_INDEPENDENT_CODE ON)
  property_keep_sources_apart(${Target})
endfunction()

# Some presets compile several sources of a target at once (CMAKE_UNITY_BUILD), which saves reading
# the same headers again. Each source keeps a kSource of its own then; what else stands in its
# unnamed namespace needs a name that is unique in the target.
# To g++ such a source is a header, in which a type with a base in an unnamed namespace is a mistake.
function(property_keep_sources_apart Target)
  if(CMAKE_UNITY_BUILD AND CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    target_compile_options(${Target} PRIVATE -Wno-subobject-linkage)
  endif()
  set_target_properties(${Target} PROPERTIES
    UNITY_BUILD_UNIQUE_ID PROPERTY_SOURCE
    UNITY_BUILD_CODE_BEFORE_INCLUDE
    "#undef kSource
#define PROPERTY_PASTE(Left, Right) Left##Right
#define PROPERTY_JOIN(Left, Right) PROPERTY_PASTE(Left, Right)
#define kSource PROPERTY_JOIN(kSource_, PROPERTY_SOURCE)")
endfunction()
