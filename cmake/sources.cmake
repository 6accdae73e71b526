# Collects the .cpp files of the given folders (not their subfolders).
function(kestrel_sources out)
  set(files)
  foreach(dir IN LISTS ARGN)
    file(GLOB found CONFIGURE_DEPENDS ${CMAKE_SOURCE_DIR}/${dir}/*.cpp)
    list(APPEND files ${found})
  endforeach()
  set(${out} ${files} PARENT_SCOPE)
endfunction()
