# cmake -DFROM=<file> -DTO=<file> -DTARGET=<path> -P RetargetDepfile.cmake
#
# Copies a dependency file of one rule, naming TARGET as what depends. tdc names the files that it
# generates; the build system wants the stamp of the step.
file(READ "${FROM}" rule)
string(REPLACE " " "\\ " target "${TARGET}")
string(FIND "${rule}" ":" colon)
if(colon EQUAL -1)
  message(FATAL_ERROR "${FROM}: no ':' found; a rule 'target: file...' is expected")
endif()
string(SUBSTRING "${rule}" ${colon} -1 prerequisites)
file(WRITE "${TO}" "${target}${prerequisites}")
