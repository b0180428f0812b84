# Adds every direct subfolder of the current source folder that has a
# CMakeLists.txt: each one is a program, a module or a benchmark of its own.
function(vexa_add_child_folders)
  file(GLOB children LIST_DIRECTORIES true ${CMAKE_CURRENT_SOURCE_DIR}/*)
  foreach(child IN LISTS children)
    if(IS_DIRECTORY ${child} AND EXISTS ${child}/CMakeLists.txt)
      add_subdirectory(${child})
    endif()
  endforeach()
endfunction()
