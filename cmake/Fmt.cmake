# Provides fmt::fmt-header-only, version 10 or later: the system's where it is recent enough, else
# the copy that `./dev setup` unpacks below .deps/.
find_package(fmt 10 CONFIG QUIET)
if(NOT fmt_FOUND)
  file(GLOB stp_fmt_dirs "${PROJECT_SOURCE_DIR}/.deps/fmt/usr/lib/*/cmake/fmt"
       "${PROJECT_SOURCE_DIR}/.deps/fmt/usr/lib/cmake/fmt")
  if(stp_fmt_dirs)
    find_package(fmt 10 CONFIG QUIET PATHS ${stp_fmt_dirs} NO_DEFAULT_PATH)
  endif()
endif()
if(NOT TARGET fmt::fmt-header-only)
  message(FATAL_ERROR "fmt 10 or later is missing; run: ./dev setup")
endif()
