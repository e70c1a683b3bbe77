# shared_library(<target>): what a shared library of this project is compiled and linked with, so that
# a program starts fast. A library finds in itself what it defines; only what SharedData.list names
# is looked up among all libraries.
include(CheckLinkerFlag)

# Offsets that only need the library's address take a bit each; needs glibc 2.36 or later.
check_linker_flag(CXX "-Wl,-z,pack-relative-relocs" STP_PACKED_RELOCATIONS)
mark_as_advanced(STP_PACKED_RELOCATIONS)

set(stp_shared_data "${CMAKE_CURRENT_LIST_DIR}/SharedData.list")

function(shared_library target)
  # Its headers need it too: who links it is compiled with C++20 or later.
  target_compile_features(${target} PUBLIC cxx_std_20)
  target_compile_options(${target} PRIVATE -fno-semantic-interposition)
  # Code and constants share a segment, which saves two mappings. Modules stay registered: none of
  # it is ever unloaded.
  target_link_options(${target} PRIVATE -Wl,-z,noseparate-code -Wl,-z,nodelete)
  if(STP_PACKED_RELOCATIONS)
    target_link_options(${target} PRIVATE -Wl,-z,pack-relative-relocs)
  endif()
  if(STP_SANITIZE)
    # Its runtime compares addresses of what is defined twice.
    target_link_options(${target} PRIVATE -Wl,-Bsymbolic-functions)
  else()
    target_link_options(${target} PRIVATE "-Wl,--dynamic-list=${stp_shared_data}")
    set_property(TARGET ${target} APPEND PROPERTY LINK_DEPENDS "${stp_shared_data}")
  endif()
endfunction()
