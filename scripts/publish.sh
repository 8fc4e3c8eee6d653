#!/usr/bin/env bash
# publish.sh BUILD: the jar with the libraries of both machines, its sources, its documentation, its coordinates and
# the bill of what it is made of, as a repository for Maven in BUILD/maven.
set -eu
build=$(realpath "$1")
here=$(realpath "$(dirname "$0")/..")
value() { sed -n "s/^$1:[A-Z]*=//p" "$build/CMakeCache.txt"; }
version=$(value CMAKE_PROJECT_VERSION)
to=$build/maven/zolt/zolt-hadoop/$version
name=$to/zolt-hadoop-$version
umask 022

rm -rf "$build/maven"
mkdir -p "$to"
cp "$build/portable/zolt-hadoop.jar" "$name.jar"
cp "$build/publish/pom" "$name.pom"
cp "$build/publish/cyclonedx.json" "$name-cyclonedx.json"
packed() { jar --create --date "$(value RELEASED)" --file "$name-$1.jar" -C "$2" .; }
sources=$(mktemp -d)
trap 'rm -rf "$sources"' EXIT
(cd "$here/java/src/main/java" && cp -R --parents org zolt/fs "$sources")
packed sources "$sources"
packed javadoc "$build/java/javadoc"
for file in "$name"*; do
  sha1sum <"$file" | cut -d ' ' -f 1 >"$file.sha1"
  sha256sum <"$file" | cut -d ' ' -f 1 >"$file.sha256"
done
ls "$to"
