# joined_sources(<target>...): with STP_JOINED, a dozen files of each target are compiled as one. Most
# of what a file costs is in headers and templates that its neighbours use too, so a whole build takes
# half the time; a small change takes more of it. For programs and tests: what the libraries are made
# of is compiled file by file.
option(STP_JOINED "Compile files of programs and tests by the dozen" OFF)

function(joined_sources)
  if(NOT STP_JOINED)
    return()
  endif()
  foreach(target IN LISTS ARGN)
    set_target_properties(${target} PROPERTIES UNITY_BUILD ON UNITY_BUILD_BATCH_SIZE 12)
  endforeach()
endfunction()
