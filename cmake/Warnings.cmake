# stp_warnings: the warnings that every target of this project is compiled with.
add_library(stp_warnings INTERFACE)

target_compile_options(
  stp_warnings
  INTERFACE -Wall
            -Wextra
            -Wpedantic
            -Wshadow
            -Wundef
            -Wformat=2
            -Wcast-align
            -Wcast-qual
            -Wold-style-cast
            -Wextra-semi
            -Wnon-virtual-dtor
            -Woverloaded-virtual
            -Wsuggest-override
            -Wdouble-promotion
            -Wimplicit-fallthrough)

if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
  target_compile_options(stp_warnings INTERFACE -Wlogical-op -Wduplicated-cond)
  if(CMAKE_CXX_COMPILER_VERSION VERSION_LESS 13)
    # GCC 12 reports these in the standard library's own string concatenation (GCC bug 105651).
    target_compile_options(stp_warnings INTERFACE -Wno-restrict)
  endif()
  if(STP_SANITIZE)
    # Instrumented code defeats the data flow that these need; the plain build reports them.
    target_compile_options(
      stp_warnings INTERFACE -Wno-maybe-uninitialized -Wno-array-bounds -Wno-stringop-overflow
                             -Wno-null-dereference)
  endif()
endif()

# Files that are compiled as one are strangers to each other; a build file by file reports these.
set(is_joined "$<BOOL:$<TARGET_PROPERTY:UNITY_BUILD>>")
target_compile_options(
  stp_warnings
  INTERFACE $<${is_joined}:-Wno-shadow>
            $<$<AND:${is_joined},$<CXX_COMPILER_ID:GNU>>:-Wno-subobject-linkage>)

if(STP_WERROR)
  target_compile_options(stp_warnings INTERFACE -Werror)
endif()
