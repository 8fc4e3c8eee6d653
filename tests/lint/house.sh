#!/usr/bin/env bash
# That the rules of the house are looked after: in a small house with two floors, each breach of a rule is
# named, and nothing else is. SCRIPTS is the folder of the scripts.
set -u
failed=0
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work" && git init -q . && mkdir -p src/ground src/roof || exit 1

house() {  # a house in order
  printf '%s\n' '# from the roof down' 'roof  ground <jni.h>  # one arrow' 'ground' >src/floors.txt
  printf '#include <jni.h>\n#include "ground/acl.h"\n#include "roof/b.h"\n' >src/roof/a.cpp
  : >src/roof/b.h
  : >src/ground/acl.h
  echo 'add_library(house src/roof/a.cpp src/ground/*.cpp)' >CMakeLists.txt
  rm -rf src/cellar src/ground/*.cpp src/ground/c.h src/file_acl.h client
}
expect() {  # expect STATUS COMPLAINT: in full, "" for none
  "$SCRIPTS/house_rules.py" 2>said
  local status=$?
  if [ $status -ne "$1" ] || [ "$(cat said)" != "$2" ]; then
    echo "FAILED: not \"$2\" but $status: $(cat said)"
    failed=1
  fi
  house
}
house
expect 0 ''

# An arrow that points up, by either form of #include; a circle is one, wherever it is permitted.
printf '#include "roof/b.h"\n' >src/ground/acl.h
expect 1 'src/ground/acl.h:1: ground may not include roof/b.h (src/floors.txt)'
printf '\n #  include <roof/b.h>\n' >src/ground/x.cpp
expect 1 'src/ground/x.cpp:2: ground may not include roof/b.h (src/floors.txt)'
echo '#include "../roof/b.h"' >src/ground/acl.h
expect 1 'src/ground/acl.h:1: ground may not include ../roof/b.h (src/floors.txt)'
echo '#include "roof/b.h"' >src/ground/acl.h
sed -i 's/^ground/ground roof/' src/floors.txt
expect 1 'src/floors.txt:3: roof stands further up'

# A header from outside is for those who name it, an arrow is there because someone goes along it, and no
# source stands outside the floors.
echo '#include <jni.h>' >src/ground/acl.h
expect 1 'src/ground/acl.h:1: ground may not include jni.h (src/floors.txt)'
: >src/roof/a.cpp
expect 1 'src/floors.txt: roof does not include <jni.h>
src/floors.txt: roof does not include ground'
mkdir src/cellar && : >src/cellar/d.h
: >src/file_acl.h
expect 1 'src/cellar/d.h is in no folder of src/floors.txt
src/file_acl.h is in no folder of src/floors.txt'

# A source is in a build file under its own name, not at the end of another's.
mkdir client && : >client/acl.cpp
: >client/file_acl.cpp
echo 'target_sources(house client/file_acl.cpp)' >>CMakeLists.txt
expect 1 'client/acl.cpp is in no CMakeLists.txt'

# The library neither ends the process nor prints.
echo 'void end() { abort(); }' >src/ground/x.cpp
expect 1 'src/ground/x.cpp:1: the library may not end the process or print: void end() { abort(); }'
exit $failed
