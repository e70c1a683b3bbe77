# What lies where the system looks for libraries needs no paths of its own to them.
file(GLOB installed LIST_DIRECTORIES OFF "${CPACK_TEMPORARY_DIRECTORY}/*/usr/bin/*"
     "${CPACK_TEMPORARY_DIRECTORY}/*/usr/lib/*.so.*" "${CPACK_TEMPORARY_DIRECTORY}/*/usr/lib/*/*.so.*")
if(NOT installed)
  message(FATAL_ERROR "${CPACK_TEMPORARY_DIRECTORY}: holds no program and no library")
endif()
foreach(file IN LISTS installed)
  if(NOT IS_SYMLINK "${file}")
    file(RPATH_REMOVE FILE "${file}")
  endif()
endforeach()
