# Writes the linker's version script: JNI_OnLoad (unless ON_LOAD is off), the natives that the header
# declares, nothing else.
file(READ "${HEADER}" header)
string(REGEX MATCHALL "Java_[A-Za-z0-9_]+" natives "${header}")
list(LENGTH natives count)
if(count EQUAL 0)
  message(FATAL_ERROR "no natives in ${HEADER}")
endif()
if(NOT DEFINED ON_LOAD OR ON_LOAD)
  list(PREPEND natives JNI_OnLoad)
endif()
list(JOIN natives ";\n    " lines)
file(WRITE "${OUTPUT}" "{\n  global:\n    ${lines};\n  local: *;\n};\n")
