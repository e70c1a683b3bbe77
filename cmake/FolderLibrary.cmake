# folder_library(<target> <folder> SOURCES <file>... LINK <library>...): a folder as a static library
# that can include its own headers and those of the libraries that it links, and no others. The
# folder stands alone in an include root of its own, under the path that it has in the source tree, so
# an include that goes against the order of the libraries finds no file. Without sources it is a
# library of headers.
function(folder_library target folder)
  cmake_parse_arguments(arg "" "" "SOURCES;LINK" ${ARGN})
  set(root "${PROJECT_BINARY_DIR}/include_roots/${target}")
  cmake_path(GET folder PARENT_PATH above)
  file(MAKE_DIRECTORY "${root}/${above}")
  file(CREATE_LINK "${PROJECT_SOURCE_DIR}/${folder}" "${root}/${folder}" SYMBOLIC)
  list(TRANSFORM arg_SOURCES PREPEND "${PROJECT_SOURCE_DIR}/${folder}/")
  if(arg_SOURCES)
    add_library(${target} STATIC ${arg_SOURCES})
    set(scope PUBLIC)
    joined_sources(${target})
  else()
    add_library(${target} INTERFACE)
    set(scope INTERFACE)
  endif()
  target_include_directories(${target} ${scope} $<BUILD_INTERFACE:${root}>)
  target_link_libraries(${target} ${scope} ${arg_LINK})
endfunction()
