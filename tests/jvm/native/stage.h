// A directory that holds one of everything, and what tells whether anything in it has changed.
#pragma once

#include <string>

namespace zolt::test {

/// Empties the directory and fills it anew, or only that entry of it. Every time stamp is the same,
/// so that two of them have the same tree.
void buildStage(const std::string& dir, const std::string& only);

constexpr int WITH_CHANGES = 1;
constexpr int WITH_ACCESS = 2;

/// Everything below the directory, a line each.
std::string treeOf(const std::string& dir, int with);

/// The calling thread's ids and groups.
std::string threadIdentity();

/// The process's descriptors, a line each.
std::string descriptors();

}  // namespace zolt::test
