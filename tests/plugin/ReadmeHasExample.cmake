# Fails unless README holds the example file's text verbatim.
file(READ "${README}" readme)
file(READ "${EXAMPLE}" example)
string(FIND "${readme}" "${example}" at)
if(at EQUAL -1)
  message(FATAL_ERROR "README.md does not hold ${EXAMPLE} as it stands")
endif()
