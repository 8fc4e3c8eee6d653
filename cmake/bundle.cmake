# The jar for developers: the Java side with the native libraries of this platform in it.
string(TOLOWER "${CMAKE_SYSTEM_NAME}-${CMAKE_SYSTEM_PROCESSOR}" PLATFORM)
set(BUNDLE ${PROJECT_BINARY_DIR}/java/bundle)
set(BUNDLE_NATIVES ${BUNDLE}/zolt/native/${PLATFORM})
set(BUNDLE_JAR ${PROJECT_BINARY_DIR}/java/zolt-hadoop-${PLATFORM}.jar)
add_custom_command(
  OUTPUT ${BUNDLE_JAR}
  COMMAND ${CMAKE_COMMAND} -E rm -rf ${BUNDLE}
  COMMAND ${CMAKE_COMMAND} -E make_directory ${BUNDLE_NATIVES}
  COMMAND ${CMAKE_STRIP} -o ${BUNDLE_NATIVES}/libzolthadoop.so $<TARGET_FILE:zolthadoop>
  COMMAND ${CMAKE_STRIP} -o ${BUNDLE_NATIVES}/libzolt.so $<TARGET_FILE:zolt>
  COMMAND ${CMAKE_COMMAND} -E echo ${PLATFORM} > ${BUNDLE}/zolt/native/platform
  COMMAND ${CMAKE_COMMAND} -E copy ${ZOLT_JAR} ${BUNDLE_JAR}
  COMMAND ${Java_JAR_EXECUTABLE} --update --date=${RELEASED} --file ${BUNDLE_JAR} -C ${BUNDLE} .
  DEPENDS ${ZOLT_JAR} zolthadoop zolt
  COMMENT "Packing the jar for developers"
  VERBATIM)
add_custom_target(zolt_bundle ALL DEPENDS ${BUNDLE_JAR})
