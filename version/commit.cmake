# SPDX-License-Identifier: Apache-2.0
#
# cmake -DSOURCE=ROOT -DHEADER=FILE -P commit.cmake: writes the commit that is built into FILE, only
# when it is another one, so that nothing is compiled anew for nothing.
file(READ ${SOURCE}/version/commit.txt archived)
string(STRIP "${archived}" archived)
if(archived MATCHES "^[0-9a-f]+$")
  string(SUBSTRING ${archived} 0 12 commit) # An archive: git has put it there.
else()
  execute_process(
    COMMAND git -C ${SOURCE} describe --always --dirty --abbrev=12 --exclude=*
    OUTPUT_VARIABLE commit OUTPUT_STRIP_TRAILING_WHITESPACE ERROR_QUIET)
  if(NOT commit)
    set(commit unknown)
  endif()
endif()
set(text "#define UWB_COMMIT \"${commit}\"\n")
set(written "")
if(EXISTS ${HEADER})
  file(READ ${HEADER} written)
endif()
if(NOT written STREQUAL text)
  file(WRITE ${HEADER} "${text}")
endif()
