# What `cmake --install` puts where. Components: runtime (the shared libraries), dev (headers, tdc,
# descriptions, the CMake package, the pkg-config file), tools (stptool), linux (stp-linux, where it is
# built) and, only when asked for by
# name, debug (debug symbols apart, found by build id).
include(CMakePackageConfigHelpers)

# In the order of the arrows; what stands last is named first on a linker's command line.
set(stp_libraries Pelmo Morsa Tovo Mirror TovoPelmo Nelka Bridging Interface frame Stp)
set(stp_include_dir "${CMAKE_INSTALL_INCLUDEDIR}/${PROJECT_NAME}")
set(stp_package_dir "${CMAKE_INSTALL_LIBDIR}/cmake/${PROJECT_NAME}")
# Its last part is what generated headers are included by: "Stp/StpTypes.h".
set(stp_tdl_dir "${CMAKE_INSTALL_DATADIR}/${PROJECT_NAME}/tdl/Stp")

set_target_properties(${stp_libraries} PROPERTIES VERSION ${PROJECT_VERSION}
                                                  SOVERSION ${PROJECT_VERSION_MAJOR})

# ---- libraries and programs

install(
  TARGETS ${stp_libraries}
  EXPORT StpTargets
  LIBRARY DESTINATION "${CMAKE_INSTALL_LIBDIR}" COMPONENT runtime NAMELINK_COMPONENT dev
  INCLUDES DESTINATION "${stp_include_dir}")
install(TARGETS stp_service EXPORT StpTargets ARCHIVE DESTINATION "${CMAKE_INSTALL_LIBDIR}"
        COMPONENT dev INCLUDES DESTINATION "${stp_include_dir}")
install(TARGETS tdc EXPORT StpTargets RUNTIME DESTINATION "${CMAKE_INSTALL_BINDIR}" COMPONENT dev)
install(TARGETS stptool RUNTIME DESTINATION "${CMAKE_INSTALL_BINDIR}" COMPONENT tools)
set(stp_programs tdc stptool)
if(TARGET stp-linux)
  list(APPEND stp_programs stp-linux)
  install(TARGETS stp-linux RUNTIME DESTINATION "${CMAKE_INSTALL_BINDIR}" COMPONENT linux)
  install(FILES "${PROJECT_SOURCE_DIR}/agents/linux/stp-linux.8"
          DESTINATION "${CMAKE_INSTALL_MANDIR}/man8" COMPONENT linux)
  install(FILES "${PROJECT_SOURCE_DIR}/agents/linux/stp-linux.service"
          DESTINATION "lib/systemd/system" COMPONENT linux)
endif()

# ---- headers and descriptions

install(DIRECTORY "${PROJECT_SOURCE_DIR}/platform/" "${PROJECT_SOURCE_DIR}/frame"
        DESTINATION "${stp_include_dir}" COMPONENT dev FILES_MATCHING PATTERN "*.h")
install(DIRECTORY "${PROJECT_SOURCE_DIR}/agents/service" DESTINATION "${stp_include_dir}/agents"
        COMPONENT dev FILES_MATCHING PATTERN "*.h")
install(FILES "${PROJECT_SOURCE_DIR}/Stp/PortStateString.h" $<TARGET_PROPERTY:Stp,TDL_HEADERS>
        DESTINATION "${stp_include_dir}/Stp" COMPONENT dev)
install(DIRECTORY "${PROJECT_SOURCE_DIR}/Stp/" DESTINATION "${stp_tdl_dir}" COMPONENT dev
        FILES_MATCHING PATTERN "*.tdl")

# ---- for other builds: find_package(Stp), pkg-config

install(EXPORT StpTargets NAMESPACE Stp:: DESTINATION "${stp_package_dir}" COMPONENT dev)
configure_package_config_file(
  "${PROJECT_SOURCE_DIR}/cmake/package/StpConfig.cmake.in" "${PROJECT_BINARY_DIR}/StpConfig.cmake"
  INSTALL_DESTINATION "${stp_package_dir}" PATH_VARS stp_tdl_dir NO_SET_AND_CHECK_MACRO)
# Before 1.0 a minor version may change the interface.
write_basic_package_version_file("${PROJECT_BINARY_DIR}/StpConfigVersion.cmake"
                                 COMPATIBILITY SameMinorVersion)
install(FILES "${PROJECT_BINARY_DIR}/StpConfig.cmake" "${PROJECT_BINARY_DIR}/StpConfigVersion.cmake"
              "${PROJECT_SOURCE_DIR}/cmake/TdlModule.cmake"
              "${PROJECT_SOURCE_DIR}/cmake/RetargetDepfile.cmake"
        DESTINATION "${stp_package_dir}" COMPONENT dev)

set(stp_pc_libs)
foreach(library IN LISTS stp_libraries)
  get_target_property(name ${library} OUTPUT_NAME)
  if(NOT name)
    set(name ${library})
  endif()
  string(PREPEND stp_pc_libs " -l${name}")
endforeach()
# Relative to the file, so that a tree that was moved still works.
file(RELATIVE_PATH stp_prefix_from_pc "/${CMAKE_INSTALL_LIBDIR}/pkgconfig" "/")
configure_file("${PROJECT_SOURCE_DIR}/cmake/package/stp.pc.in" "${PROJECT_BINARY_DIR}/stp.pc" @ONLY)
install(FILES "${PROJECT_BINARY_DIR}/stp.pc" DESTINATION "${CMAKE_INSTALL_LIBDIR}/pkgconfig"
        COMPONENT dev)

# ---- for people

# The documents stand to each other as in the source tree, so that their links lead somewhere.
install(DIRECTORY "${PROJECT_SOURCE_DIR}/docs" DESTINATION "${CMAKE_INSTALL_DOCDIR}" COMPONENT dev
        FILES_MATCHING PATTERN "*.md" PATTERN "*.svg")
install(FILES "${PROJECT_SOURCE_DIR}/README.md" "${PROJECT_SOURCE_DIR}/CHANGELOG.md"
        DESTINATION "${CMAKE_INSTALL_DOCDIR}" COMPONENT dev)
install(DIRECTORY "${PROJECT_SOURCE_DIR}/examples" DESTINATION "${CMAKE_INSTALL_DOCDIR}"
        COMPONENT dev FILES_MATCHING PATTERN "*.cpp" PATTERN "*.h" PATTERN "*.tdl"
        PATTERN "own_module/CMakeLists.txt" PATTERN "demo" EXCLUDE)
install(FILES "${PROJECT_SOURCE_DIR}/examples/access-switch.json"
              "${PROJECT_SOURCE_DIR}/examples/distribution-switch.json"
              "${PROJECT_SOURCE_DIR}/examples/four-ports.json"
        DESTINATION "${CMAKE_INSTALL_DOCDIR}/examples" COMPONENT tools)
configure_file("${PROJECT_SOURCE_DIR}/cmake/package/UnlinkDocuments.cmake.in"
               "${PROJECT_BINARY_DIR}/UnlinkDocuments.cmake" @ONLY)
install(SCRIPT "${PROJECT_BINARY_DIR}/UnlinkDocuments.cmake" COMPONENT dev)

if(STPTOOL_MAN_PAGE)
  # Debian's shells look where packages put it; others in the place for what the machine adds.
  set(stp_zsh_dir "${CMAKE_INSTALL_DATADIR}/zsh/site-functions")
  if(CMAKE_INSTALL_PREFIX STREQUAL "/usr")
    set(stp_zsh_dir "${CMAKE_INSTALL_DATADIR}/zsh/vendor-completions")
  endif()
  install(FILES "${PROJECT_SOURCE_DIR}/stptool/completion/stptool.bash" RENAME stptool
          DESTINATION "${CMAKE_INSTALL_DATADIR}/bash-completion/completions" COMPONENT tools)
  install(FILES "${PROJECT_SOURCE_DIR}/stptool/completion/_stptool" DESTINATION "${stp_zsh_dir}"
          COMPONENT tools)
  install(FILES "${STPTOOL_MAN_PAGE}" DESTINATION "${CMAKE_INSTALL_MANDIR}/man1" COMPONENT tools)
endif()

# ---- debug symbols apart

set(stp_files_with_symbols)
foreach(target IN LISTS stp_libraries stp_programs)
  string(APPEND stp_files_with_symbols "\n  \"$<TARGET_FILE:${target}>\"")
endforeach()
set(stp_debug_dir lib/debug)
configure_file("${PROJECT_SOURCE_DIR}/cmake/package/InstallDebug.cmake.in"
               "${PROJECT_BINARY_DIR}/InstallDebug.cmake.in" @ONLY)
file(GENERATE OUTPUT "${PROJECT_BINARY_DIR}/InstallDebug.cmake"
     INPUT "${PROJECT_BINARY_DIR}/InstallDebug.cmake.in")
install(SCRIPT "${PROJECT_BINARY_DIR}/InstallDebug.cmake" COMPONENT debug EXCLUDE_FROM_ALL)
