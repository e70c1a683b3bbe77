# cpack makes Debian packages of the components that Install.cmake names: libstp0, libstp-dev, stptool,
# stp-linux where it is built, and the debug symbols of each.
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_VENDOR "${PROJECT_NAME}")
set(CPACK_PACKAGE_CONTACT "Stp developers <stp@localhost>")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_COMPONENTS_ALL runtime dev tools)
if(TARGET stp-linux)
  list(APPEND CPACK_COMPONENTS_ALL linux)
endif()
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_STRIP_FILES OFF)  # taken apart below instead
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_RELEASE 1)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS "${CMAKE_LIBRARY_OUTPUT_DIRECTORY}")
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY "=")  # before 1.0 no two versions mix
set(CPACK_DEBIAN_DEBUGINFO_PACKAGE ON)
set(CPACK_PRE_BUILD_SCRIPTS "${PROJECT_SOURCE_DIR}/cmake/package/RemoveRunPaths.cmake")
set(CPACK_BUILD_SOURCE_DIRS "${PROJECT_SOURCE_DIR}")

set(same_version "(= ${PROJECT_VERSION}-${CPACK_DEBIAN_PACKAGE_RELEASE})")
set(runtime_package libstp${PROJECT_VERSION_MAJOR})

set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME ${runtime_package})
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SECTION libs)
if(STP_PACKED_RELOCATIONS)
  # What dpkg-shlibdeps finds out by symbols does not show it.
  set(CPACK_DEBIAN_RUNTIME_PACKAGE_DEPENDS "libc6 (>= 2.36)")
endif()
set(CPACK_COMPONENT_RUNTIME_DESCRIPTION
    "spanning-tree state model, mirrored between processes
The complete state of a switch's spanning tree agent (STP, RSTP, MSTP, Rapid-PVST) as a shared
library, and the runtime that it stands on.")

set(CPACK_DEBIAN_DEV_PACKAGE_NAME libstp-dev)
set(CPACK_DEBIAN_DEV_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEV_PACKAGE_DEPENDS "${runtime_package} ${same_version}, libboost-dev (>= 1.74)")
set(CPACK_COMPONENT_DEV_DESCRIPTION
    "spanning-tree state model (development files)
Headers, the type-description compiler tdc, the descriptions, a CMake package, a pkg-config file and
the documents.")

set(CPACK_DEBIAN_TOOLS_PACKAGE_NAME stptool)
set(CPACK_DEBIAN_TOOLS_PACKAGE_SECTION net)
set(CPACK_DEBIAN_TOOLS_PACKAGE_DEPENDS "${runtime_package} ${same_version}")
set(CPACK_COMPONENT_TOOLS_DESCRIPTION
    "shows, changes and mirrors the state of a spanning tree agent
Reads and writes a live tree of state by paths, follows its changes, saves and loads it as JSON and
draws it. Types of other described libraries are loaded at run time.")

set(CPACK_DEBIAN_LINUX_PACKAGE_NAME stp-linux)
set(CPACK_DEBIAN_LINUX_PACKAGE_SECTION net)
set(CPACK_DEBIAN_LINUX_PACKAGE_DEPENDS "${runtime_package} ${same_version}")
set(CPACK_DEBIAN_LINUX_PACKAGE_RECOMMENDS "stptool ${same_version}")
set(CPACK_COMPONENT_LINUX_DESCRIPTION
    "publishes the spanning trees of this machine's bridges
Mirrors what the kernel's bridges do to whoever connects, and passes configuration to them. With a
systemd unit, stp-linux.service.")

include(CPack)
