# tdl_module(<target> FILES <file.tdl>... [IMPORT_DIRS <dir>...])
#
# Translates each description with tdc into <build>/generated/<folder>/<Name>.h and .cpp, <folder>
# being the directory that the description stands in, and adds the sources to <target>, a library
# that links Stp::frame. Imports are looked for in the description's folder, in IMPORT_DIRS and among
# the descriptions of this project. Users of <target> include "<folder>/<Name>.h". A description is read again when it, one that it imports or
# tdc changes; what comes out unchanged is not compiled again. The target's property TDL_HEADERS
# lists the generated headers, for install().
define_property(TARGET PROPERTY TDL_HEADERS BRIEF_DOCS "Headers that tdl_module() generates")

set(stp_retarget_depfile "${CMAKE_CURRENT_LIST_DIR}/RetargetDepfile.cmake")

function(tdl_module target)
  cmake_parse_arguments(PARSE_ARGV 1 arg "" "" "FILES;IMPORT_DIRS")
  if(arg_UNPARSED_ARGUMENTS)
    message(FATAL_ERROR "tdl_module(${target}): unknown argument '${arg_UNPARSED_ARGUMENTS}'")
  endif()
  if(NOT arg_FILES)
    message(FATAL_ERROR "tdl_module(${target}): FILES is missing")
  endif()

  set(generated "${PROJECT_BINARY_DIR}/generated")
  set(imports)
  foreach(dir IN LISTS arg_IMPORT_DIRS Stp_TDL_DIR)
    cmake_path(ABSOLUTE_PATH dir BASE_DIRECTORY "${CMAKE_CURRENT_SOURCE_DIR}" NORMALIZE)
    list(APPEND imports -I "${dir}")
  endforeach()

  foreach(file IN LISTS arg_FILES)
    cmake_path(ABSOLUTE_PATH file BASE_DIRECTORY "${CMAKE_CURRENT_SOURCE_DIR}" NORMALIZE)
    cmake_path(GET file STEM name)
    cmake_path(GET file PARENT_PATH folder)
    cmake_path(GET folder FILENAME folder)
    set(out "${generated}/${folder}")
    set(header "${out}/${name}.h")
    set(source "${out}/${name}.cpp")
    # tdc leaves an unchanged file alone, so the stamp tells when it ran last.
    set(stamp "${out}/.${name}.stamp")
    set(depfile "${out}/.${name}.d")
    set(tdc_depfile "${out}/.${name}.tdc.d")
    file(MAKE_DIRECTORY "${out}")
    add_custom_command(
      OUTPUT "${stamp}"
      BYPRODUCTS "${header}" "${source}"
      COMMAND Stp::tdc --out "${out}" ${imports} --depfile "${tdc_depfile}" "${file}"
      COMMAND "${CMAKE_COMMAND}" "-DFROM=${tdc_depfile}" "-DTO=${depfile}" "-DTARGET=${stamp}" -P
              "${stp_retarget_depfile}"
      COMMAND "${CMAKE_COMMAND}" -E touch "${stamp}"
      DEPENDS "$<TARGET_FILE:Stp::tdc>" "${file}"
      DEPFILE "${depfile}"
      COMMENT "Translating ${folder}/${name}.tdl"
      VERBATIM)
    set_source_files_properties("${header}" "${source}" "${stamp}" PROPERTIES GENERATED TRUE)
    target_sources(${target} PRIVATE "${stamp}" "${source}")
    set_property(TARGET ${target} APPEND PROPERTY TDL_HEADERS "${header}")
  endforeach()

  target_include_directories(${target} PUBLIC "$<BUILD_INTERFACE:${generated}>")
endfunction()
