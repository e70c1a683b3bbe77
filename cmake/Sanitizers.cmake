# Applies STP_SANITIZE and STP_FUZZ to every target. Where fuzzers are built, stp_fuzzer links
# the fuzzing engine's main() into an executable.
if("thread" IN_LIST STP_SANITIZE AND "address" IN_LIST STP_SANITIZE)
  message(FATAL_ERROR "STP_SANITIZE: thread and address exclude each other")
endif()
foreach(sanitizer IN LISTS STP_SANITIZE)
  if(NOT sanitizer MATCHES "^(address|undefined|thread|leak)$")
    message(FATAL_ERROR "STP_SANITIZE: unknown sanitizer '${sanitizer}'; "
                        "known: address, undefined, leak, thread")
  endif()
endforeach()

if(STP_SANITIZE)
  list(JOIN STP_SANITIZE "," sanitizers)
  add_compile_options(-fsanitize=${sanitizers} -fno-sanitize-recover=all -fno-omit-frame-pointer)
  add_link_options(-fsanitize=${sanitizers})
elseif(NOT APPLE)
  # A shared library names everything that it uses; a sanitizer's runtime is the exception.
  string(APPEND CMAKE_SHARED_LINKER_FLAGS " -Wl,--no-undefined")
endif()

add_compile_definitions($<$<CONFIG:Debug>:_GLIBCXX_ASSERTIONS>)

if(STP_FUZZ)
  if(NOT CMAKE_CXX_COMPILER_ID MATCHES "Clang")
    message(FATAL_ERROR "STP_FUZZ needs Clang: use the preset 'fuzz' (./dev fuzz)")
  endif()
  add_compile_options(-fsanitize=fuzzer-no-link)
  add_library(stp_fuzzer INTERFACE)
  target_link_options(stp_fuzzer INTERFACE -fsanitize=fuzzer)
endif()
