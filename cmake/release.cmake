# What is shipped says one version, the project's, and one time, RELEASED: that of the version's entry in the log of
# changes of the packages.
set(SAYS_VERSION
  "CHANGELOG.md" "## ${PROJECT_VERSION} "
  "cmake/packages/changelog" "zolthadoop (${PROJECT_VERSION}) "
  "docs/man/zolt.1" "\"zolthadoop ${PROJECT_VERSION}\""
  "hdfs/pom.xml" "<version>${PROJECT_VERSION}</version>")
while(SAYS_VERSION)
  list(POP_FRONT SAYS_VERSION file words)
  set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/${file})
  file(READ ${file} text)
  string(FIND "${text}" "${words}" at)
  if(at EQUAL -1)
    message(FATAL_ERROR "${file} says nothing of version ${PROJECT_VERSION}")
  endif()
endwhile()

file(STRINGS cmake/packages/changelog RELEASED REGEX "^ -- ")
list(GET RELEASED 0 RELEASED)
string(REGEX REPLACE ".*>  " "" RELEASED "${RELEASED}")
execute_process(COMMAND date -u -d ${RELEASED} "+%s %Y-%m-%dT%H:%M:%SZ" OUTPUT_VARIABLE RELEASED
  OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
string(REGEX REPLACE " .*" "" RELEASED_SECONDS ${RELEASED})
string(REGEX REPLACE ".* " "" RELEASED ${RELEASED})
set(RELEASED ${RELEASED} CACHE INTERNAL "Time of the release")

# What is published beside the jar: its coordinates, and what it is made of.
file(STRINGS cmake/portable/requirements.txt COMPILER_VERSION REGEX "^ziglang==")
string(REGEX REPLACE "^ziglang==([^ ]*).*" "\\1" COMPILER_VERSION "${COMPILER_VERSION}")
string(UUID BOM_SERIAL NAMESPACE 6ba7b812-9dad-11d1-80b4-00c04fd430c8 NAME zolt-hadoop-${PROJECT_VERSION} TYPE SHA1)
configure_file(cmake/publish/pom.xml.in publish/pom @ONLY)
configure_file(cmake/publish/bom.cdx.json.in publish/cyclonedx.json @ONLY)
