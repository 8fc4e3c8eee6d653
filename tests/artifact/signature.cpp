// Compiled by two tests: as it stands it must pass, with WRONG (one parameter missing) it must not.
#include "org_apache_hadoop_hdfs_server_namenode_ZOLTNative.h"

#ifdef WRONG
jint Java_org_apache_hadoop_hdfs_server_namenode_ZOLTNative_getDirentCountNative(JNIEnv*, jclass) {
  return 0;
}
#else
jint Java_org_apache_hadoop_hdfs_server_namenode_ZOLTNative_getDirentCountNative(JNIEnv*, jclass,
                                                                                 jstring) {
  return 0;
}
#endif
