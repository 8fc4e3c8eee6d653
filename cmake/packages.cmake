# Packages: the library with its jar, the command, and the embedded client, which a site with a ZOLT
# file system leaves out.
set(PACKAGING ${PROJECT_SOURCE_DIR}/cmake/packages)
set(CPACK_PACKAGE_NAME zolthadoop)
set(CPACK_PACKAGE_VENDOR "zolthadoop developers")
set(CPACK_PACKAGE_CONTACT "zolthadoop developers <zolthadoop@localhost>")
set(CPACK_PACKAGE_DIRECTORY ${PROJECT_BINARY_DIR}/packages)
set(CPACK_RESOURCE_FILE_LICENSE ${PROJECT_SOURCE_DIR}/LICENSE)
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CMAKE_SKIP_INSTALL_ALL_DEPENDENCY ON)  # what is packed was built before
# The files of a package are as old as the release.
file(WRITE ${PROJECT_BINARY_DIR}/cpack.cmake "set(ENV{SOURCE_DATE_EPOCH} ${RELEASED_SECONDS})\n")
set(CPACK_PROJECT_CONFIG_FILE ${PROJECT_BINARY_DIR}/cpack.cmake)
set(CPACK_COMPONENTS_ALL library command client)
if(ZOLT_CEPHFS)  # that client alone: what it is built with belongs to no other package
  set(CPACK_COMPONENTS_ALL cephfs)
  set(CPACK_PACKAGE_DIRECTORY ${PROJECT_BINARY_DIR}/packages-cephfs)
endif()
set(CPACK_COMPONENTS_GROUPING IGNORE)

set(LIBRARY_SUMMARY "HDFS namespace on a ZOLT file system: the native library")
set(LIBRARY_TEXT
  "The native library and the Java classes by which a Hadoop HDFS NameNode keeps
its namespace on a ZOLT parallel file system. It needs that file system's
client library, libzolt.so.")
set(COMMAND_SUMMARY "files of a ZOLT file system as the NameNode sees them")
set(COMMAND_TEXT
  "The command zolt: listings, status, block locations, ACLs, attributes and
leases, with the rights of any user; why a path is refused; and whether a
machine is fit to run a NameNode.")
set(CLIENT_SUMMARY "embedded ZOLT client for one machine")
set(CLIENT_TEXT
  "A libzolt.so over any local file system, for trying things out and for tests.
A site with a ZOLT file system installs that file system's own client instead.")
set(CEPHFS_SUMMARY "ZOLT client for CephFS")
set(CEPHFS_TEXT
  "A libzolt.so for files on a mounted CephFS: copies and block locations come
from the pools and placement groups, by librados. It takes the place of the
embedded client.")

set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION java)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS $<TARGET_FILE_DIR:zolt>)
set(CPACK_DEBIAN_LIBRARY_PACKAGE_NAME libzolthadoop)
set(CPACK_DEBIAN_LIBRARY_PACKAGE_DEPENDS libacl1)
set(CPACK_DEBIAN_LIBRARY_PACKAGE_RECOMMENDS "libzolt-local | libzolt-cephfs, libslf4j-java")
set(CPACK_DEBIAN_LIBRARY_DESCRIPTION "${LIBRARY_SUMMARY}\n${LIBRARY_TEXT}")
set(CPACK_DEBIAN_COMMAND_PACKAGE_NAME zolt-tools)
set(CPACK_DEBIAN_COMMAND_PACKAGE_ARCHITECTURE all)
set(CPACK_DEBIAN_COMMAND_PACKAGE_SHLIBDEPS OFF)
set(CPACK_DEBIAN_COMMAND_PACKAGE_SECTION admin)
set(CPACK_DEBIAN_COMMAND_PACKAGE_DEPENDS
  "libzolthadoop (= ${PROJECT_VERSION}), default-jre-headless | java8-runtime-headless, libslf4j-java")
set(CPACK_DEBIAN_COMMAND_PACKAGE_RECOMMENDS bash-completion)
set(CPACK_DEBIAN_COMMAND_PACKAGE_CONTROL_EXTRA
  ${PACKAGING}/postinst
  ${PACKAGING}/postrm
  ${PACKAGING}/triggers)
set(CPACK_DEBIAN_COMMAND_PACKAGE_CONTROL_STRICT_PERMISSION ON)  # whatever the sources have
set(CPACK_DEBIAN_COMMAND_DESCRIPTION "${COMMAND_SUMMARY}\n${COMMAND_TEXT}")
set(CPACK_DEBIAN_CLIENT_PACKAGE_NAME libzolt-local)
set(CPACK_DEBIAN_CLIENT_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_CLIENT_DESCRIPTION "${CLIENT_SUMMARY}\n${CLIENT_TEXT}")
set(CPACK_DEBIAN_CEPHFS_PACKAGE_NAME libzolt-cephfs)
set(CPACK_DEBIAN_CEPHFS_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_CEPHFS_PACKAGE_CONFLICTS libzolt-local)  # of the same file
set(CPACK_DEBIAN_CEPHFS_DESCRIPTION "${CEPHFS_SUMMARY}\n${CEPHFS_TEXT}")

set(CPACK_RPM_COMPONENT_INSTALL ON)
set(CPACK_RPM_FILE_NAME RPM-DEFAULT)
set(CPACK_RPM_PACKAGE_LICENSE Apache-2.0)
set(CPACK_RPM_PACKAGE_RELOCATABLE OFF)
# A site's own client need not come from a package.
set(CPACK_RPM_SPEC_MORE_DEFINE "%global __requires_exclude ^libzolt\\\\.so.*$
%define _build_id_links none
%define _buildhost localhost
%define use_source_date_epoch_as_buildtime 1
%define clamp_mtime_to_source_date_epoch 1")
set(CPACK_RPM_LIBRARY_PACKAGE_NAME libzolthadoop)
set(CPACK_RPM_LIBRARY_PACKAGE_REQUIRES libacl)
set(CPACK_RPM_LIBRARY_PACKAGE_SUMMARY "${LIBRARY_SUMMARY}")
set(CPACK_RPM_LIBRARY_PACKAGE_DESCRIPTION "${LIBRARY_TEXT}")
set(CPACK_RPM_COMMAND_PACKAGE_NAME zolt-tools)
set(CPACK_RPM_COMMAND_PACKAGE_ARCHITECTURE noarch)
set(CPACK_RPM_COMMAND_PACKAGE_REQUIRES
  "libzolthadoop = ${PROJECT_VERSION}, java-headless >= 1.8, slf4j, util-linux")
set(CPACK_RPM_COMMAND_POST_INSTALL_SCRIPT_FILE ${PACKAGING}/postinst)
set(CPACK_RPM_COMMAND_POST_UNINSTALL_SCRIPT_FILE ${PACKAGING}/postrm)
set(CPACK_RPM_COMMAND_PACKAGE_SUMMARY "${COMMAND_SUMMARY}")
set(CPACK_RPM_COMMAND_PACKAGE_DESCRIPTION "${COMMAND_TEXT}")
set(CPACK_RPM_CLIENT_PACKAGE_NAME libzolt-local)
set(CPACK_RPM_CLIENT_PACKAGE_SUMMARY "${CLIENT_SUMMARY}")
set(CPACK_RPM_CLIENT_PACKAGE_DESCRIPTION "${CLIENT_TEXT}")
# Folders of the distribution, not of a package.
set(CPACK_RPM_EXCLUDE_FROM_AUTO_FILELIST_ADDITION
  /usr/share/java /usr/share/bash-completion /usr/share/bash-completion/completions
  /usr/share/zsh /usr/share/zsh/vendor-completions /usr/share/fish /usr/share/fish/vendor_completions.d
  /usr/share/man /usr/share/man/man1)

# For another machine, or for every GLIBC: the libraries need what the linker was told, and no tool of this machine
# reads or strips them.
if(CMAKE_CROSSCOMPILING)
  set(CPACK_STRIP_FILES OFF)
  set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS OFF)
  set(CPACK_DEBIAN_LIBRARY_PACKAGE_DEPENDS "libacl1, libc6 (>= 2.17)")
  set(CPACK_DEBIAN_CLIENT_PACKAGE_DEPENDS "libc6 (>= 2.17)")
  set(CPACK_RPM_PACKAGE_ARCHITECTURE ${CMAKE_SYSTEM_PROCESSOR})
  set(CPACK_DEBIAN_PACKAGE_ARCHITECTURE amd64)
  if(CMAKE_SYSTEM_PROCESSOR STREQUAL "aarch64")
    set(CPACK_DEBIAN_PACKAGE_ARCHITECTURE arm64)
  endif()
  string(APPEND CPACK_RPM_SPEC_MORE_DEFINE "\n%define __os_install_post %{nil}")
endif()

# On Debian the license is the system's file, and what people read is compressed.
set(MANUAL ${PROJECT_SOURCE_DIR}/docs/man/zolt.1)
set(COPYRIGHT ${PROJECT_SOURCE_DIR}/LICENSE)
if(ZOLT_DEBIAN)
  set(COPYRIGHT ${PACKAGING}/copyright)
  set(CHANGELOG ${PROJECT_BINARY_DIR}/debian/changelog.gz)
  file(MAKE_DIRECTORY ${PROJECT_BINARY_DIR}/debian)
  execute_process(COMMAND gzip -9nc ${PACKAGING}/changelog OUTPUT_FILE ${CHANGELOG}
    COMMAND_ERROR_IS_FATAL ANY)
  execute_process(COMMAND gzip -9nc ${MANUAL} OUTPUT_FILE ${PROJECT_BINARY_DIR}/debian/zolt.1.gz
    COMMAND_ERROR_IS_FATAL ANY)
  set(MANUAL ${PROJECT_BINARY_DIR}/debian/zolt.1.gz)
endif()
install(FILES ${MANUAL} DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT command)
set(PACKAGES "library libzolthadoop" "command zolt-tools" "client libzolt-local")
if(ZOLT_CEPHFS)  # all of it is installed only when that component is asked for
  list(APPEND PACKAGES "cephfs libzolt-cephfs EXCLUDE_FROM_ALL")
  install(FILES ${PROJECT_SOURCE_DIR}/docs/cephfs.md COMPONENT cephfs EXCLUDE_FROM_ALL
    DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/libzolt-cephfs)
endif()
foreach(package IN LISTS PACKAGES)
  separate_arguments(package)
  list(POP_FRONT package component name)
  set(DOCUMENTS ${CMAKE_INSTALL_DATADIR}/doc/${name})
  install(FILES ${COPYRIGHT} DESTINATION ${DOCUMENTS} RENAME copyright COMPONENT ${component} ${package})
  if(ZOLT_DEBIAN)
    install(FILES ${CHANGELOG} DESTINATION ${DOCUMENTS} COMPONENT ${component} ${package})
    install(FILES ${PACKAGING}/lintian/${name} COMPONENT ${component} ${package}
      DESTINATION ${CMAKE_INSTALL_DATADIR}/lintian/overrides)
  endif()
endforeach()
# What people read. The links from one to the other lead where they lead in the sources; those to what is not
# installed are plain words.
foreach(document README.md docs/operators.md docs/java.md docs/formats.md docs/performance.md docs/reliability.md)
  set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/${document})
  file(READ ${PROJECT_SOURCE_DIR}/${document} text)
  string(REGEX REPLACE "\\[([^]]+)\\]\\((CONTRIBUTING|client/|java/|src/|docs/(cephfs|design|hadoop|hdfs|provider)|design\\.|hadoop\\.|hdfs\\.|\\.\\./)[^)]*\\)"
    "\\1" text "${text}")
  file(WRITE ${PROJECT_BINARY_DIR}/documents/${document} "${text}")
  get_filename_component(folder ${document} DIRECTORY)
  install(FILES ${PROJECT_BINARY_DIR}/documents/${document} COMPONENT library
    DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/libzolthadoop/${folder})
endforeach()
install(FILES ${PROJECT_SOURCE_DIR}/client/local/README.md COMPONENT client
  DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/libzolt-local)
include(CPack)
