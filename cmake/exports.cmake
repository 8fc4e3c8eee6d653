# Writes the linker's version script: JNI_OnLoad, the natives that the header declares, nothing else.
file(READ "${HEADER}" header)
string(REGEX MATCHALL "Java_[A-Za-z0-9_]+" natives "${header}")
list(LENGTH natives count)
if(count EQUAL 0)
  message(FATAL_ERROR "no natives in ${HEADER}")
endif()
list(JOIN natives ";\n    " lines)
file(WRITE "${OUTPUT}" "{\n  global:\n    JNI_OnLoad;\n    ${lines};\n  local: *;\n};\n")
