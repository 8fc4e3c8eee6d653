#!/usr/bin/env bash
# What an installation consists of, by component, and that it works from where it lies. BUILD is the
# build folder, CMAKE, JAVA, SLF4J.
set -eu
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
here=$(dirname "$0")

for component in library command client; do
  "$CMAKE" --install "$BUILD" --prefix "$scratch/$component" --component $component >/dev/null
  (cd "$scratch/$component" && find . ! -type d | sed "s,lib/[a-z0-9_]*-linux-gnu/,lib/,;s,^\.,$component," | LC_ALL=C sort)
done >"$scratch/files"
diff - "$scratch/files" <<'END'
library/lib/libzolthadoop.so
library/lib/libzolthadoop.so.1
library/lib/libzolthadoop.so.1.0.0
library/share/doc/libzolthadoop/README.md
library/share/doc/libzolthadoop/copyright
library/share/doc/libzolthadoop/docs/formats.md
library/share/doc/libzolthadoop/docs/java.md
library/share/doc/libzolthadoop/docs/operators.md
library/share/doc/libzolthadoop/docs/performance.md
library/share/doc/libzolthadoop/docs/reliability.md
library/share/java/zolt-hadoop.jar
command/bin/zolt
command/share/bash-completion/completions/zolt
command/share/doc/zolt-tools/copyright
command/share/fish/vendor_completions.d/zolt.fish
command/share/java/zolt-cli.jar
command/share/man/man1/zolt.1
command/share/zsh/vendor-completions/_zolt
client/lib/libzolt.so
client/share/doc/libzolt-local/README.md
client/share/doc/libzolt-local/copyright
END

jar=$scratch/library/share/java/zolt-hadoop.jar
library=$(find "$scratch/library" -name libzolthadoop.so)
client=$(find "$scratch/client" -name libzolt.so)
"${JAVA}c" -cp "$jar" -d "$scratch" "$here/Loaded.java"
LD_LIBRARY_PATH=$(dirname "$client") "$JAVA" -Djava.library.path="$(dirname "$library")" \
  -cp "$scratch:$jar:$SLF4J" Loaded 2>/dev/null >"$scratch/loaded"
printf '%s\n' "$client" "$library.1.0.0" | LC_ALL=C sort | diff - "$scratch/loaded"
