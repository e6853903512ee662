# SPDX-License-Identifier: MIT
# A target for all programs of a folder.

# Appends the executables of a folder and of those below it to the list variable.
function(property_collect_programs Folder ListVariable)
  get_property(Targets DIRECTORY "${Folder}" PROPERTY BUILDSYSTEM_TARGETS)
  foreach(Target IN LISTS Targets)
    get_target_property(Type ${Target} TYPE)
    if(Type STREQUAL "EXECUTABLE")
      list(APPEND ${ListVariable} ${Target})
    endif()
  endforeach()
  get_property(Subfolders DIRECTORY "${Folder}" PROPERTY SUBDIRECTORIES)
  foreach(Subfolder IN LISTS Subfolders)
    property_collect_programs("${Subfolder}" ${ListVariable})
  endforeach()
  set(${ListVariable} ${${ListVariable}} PARENT_SCOPE)
endfunction()

# property_add_programs_target(NAME): builds all programs of the current folder and of those below
# it, once they are all known.
function(property_add_programs_target Name)
  property_collect_programs("${CMAKE_CURRENT_SOURCE_DIR}" Programs)
  add_custom_target(${Name} DEPENDS ${Programs})
endfunction()
