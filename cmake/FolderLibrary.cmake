# folder_library(<target> <folder> SOURCES <file>... LINK <library>...): a folder as a static library
# that can include its own headers and those of the libraries that it links, and no others. The
# folder stands alone in an include root of its own, under the path that it has in the source tree, so
# an include that goes against the order of the libraries finds no file.
function(folder_library target folder)
  cmake_parse_arguments(arg "" "" "SOURCES;LINK" ${ARGN})
  set(root "${PROJECT_BINARY_DIR}/include_roots/${target}")
  cmake_path(GET folder PARENT_PATH above)
  file(MAKE_DIRECTORY "${root}/${above}")
  file(CREATE_LINK "${PROJECT_SOURCE_DIR}/${folder}" "${root}/${folder}" SYMBOLIC)
  list(TRANSFORM arg_SOURCES PREPEND "${PROJECT_SOURCE_DIR}/${folder}/")
  add_library(${target} STATIC ${arg_SOURCES})
  target_include_directories(${target} PUBLIC $<BUILD_INTERFACE:${root}>)
  target_link_libraries(${target} PUBLIC ${arg_LINK})
  joined_sources(${target})
endfunction()
