"""One source with every mutant in it: which one is alive is chosen when it runs.

A site reads `(ZOLT_MUTANT(17) ? (changed) : (original))`. What does not compile so is found by the
compiler and left out, until the rest compiles.
"""
import bisect
import concurrent.futures
import re
import subprocess

HEADER = r'''// The mutant that is alive, and the sites that a run has come by.
#pragma once
#ifdef __cplusplus
#include <memory>
#include <mutex>
#include <string>
#include <type_traits>

extern "C" {
extern int zoltMutant;
extern unsigned char* zoltReached;
}

inline bool ZOLT_MUTANT(int number) {
  zoltReached[number] = 1;
  return __builtin_expect(zoltMutant == number, 0);
}

// An object of a scope, or none. Made without memory: there may be none left.
template <class T>
struct ZoltScope {
  alignas(T) unsigned char memory[sizeof(T)];
  T* made = nullptr;
  ~ZoltScope() {
    if (made != nullptr) made->~T();
  }
};

// A part of a log line, or another in its place.
template <class T>
auto zoltPiece(bool changed, const T& part) {
  if constexpr (std::is_same_v<T, bool>) {
    return changed ? !part : part;
  } else if constexpr (std::is_arithmetic_v<T>) {
    return changed ? static_cast<T>(part + 1) : part;
  } else if constexpr (std::is_constructible_v<std::string, const T&>) {
    return changed ? std::string(part) + "~" : std::string(part);
  } else if constexpr (std::is_enum_v<T>) {
    return static_cast<int>(part) + (changed ? 1 : 0);
  } else {
    static_assert(!sizeof(T), "nothing else to print in its place: the site is left out");
  }
}
inline const void* zoltPiece(bool changed, const void* part) {
  return changed ? nullptr : part;
}
inline const char* zoltPiece(bool changed, const char* part) {
  return changed ? "~" : part;
}
#endif
'''

RUNTIME = r'''#include "mutant.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstdlib>

constexpr size_t SITES = 1 << 16;
static unsigned char none[SITES];
extern "C" {
int zoltMutant = 0;
unsigned char* zoltReached = none;
}

// Before every other initialiser, since those have sites too. The marks lie in a file that all
// copies of the library share, so that they are there however the process ends.
__attribute__((constructor(101))) static void choose() {
  if (const char* number = std::getenv("ZOLT_MUTANT")) zoltMutant = std::atoi(number);
  const char* file = std::getenv("ZOLT_REACHED");
  if (file == nullptr) return;
  const int fd = open(file, O_RDWR | O_CREAT | O_CLOEXEC, 0666);
  if (fd >= 0 && ftruncate(fd, SITES) == 0) {
    void* memory = mmap(nullptr, SITES, PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
    if (memory != MAP_FAILED) zoltReached = static_cast<unsigned char*>(memory);
  }
  if (fd >= 0) close(fd);
}
'''


def shaped(site, inner):
    """The site's new text around `inner`, what stands there already."""
    alive = [m for m in site.mutations if m.alive]
    if not alive:
        return inner
    test = [f'ZOLT_MUTANT({m.number})' for m in alive]
    if site.shape == 'drop':
        return f'({test[0]} ? (void)0 : (void)({inner}))'
    if site.shape == 'jump':
        return f'if ({test[0]}) {{}} else {inner}'
    if site.shape == 'piece':
        return f'zoltPiece({test[0]}, {inner})'
    if site.shape == 'scope':
        made, name, arguments = alive[0].code
        return (f'ZoltScope<{made}> {name}; '
                f'if (!({test[0]})) {name}.made = ::new ({name}.memory) {made} {arguments};')
    if site.shape == 'log':
        text = ''
        for t, m in zip(test, alive):
            text += f'{t} ? ' + (f'(void)({{ {m.code}; }})' if m.code else '(void)0') + ' : '
        return f'({text}(void)({{ {inner}; }}))'
    return '(' + ''.join(f'{t} ? ({m.code}) : ' for t, m in zip(test, alive)) + f'({inner}))'


ORDER = ['value', 'literal', 'piece', 'drop', 'jump', 'log', 'scope']


class Tree:
    """The sites of one file, nested, and its text with them in place."""

    def __init__(self, text, sites):
        self.text = text
        # The outermost first; at one place what is a statement stands around what is a value.
        self.sites = sorted(sites, key=lambda s: (s.start, -s.end, -ORDER.index(s.shape)))
        self.where = []   # (start, end, site) in the rendered text
        self.out = []
        self.length = 0

    def emit(self, piece):
        self.out.append(piece)
        self.length += len(piece)

    def render(self):
        self.next = 0
        self.span(0, len(self.text))
        return ''.join(self.out)

    def span(self, position, end):
        while self.next < len(self.sites) and self.sites[self.next].start < end:
            site = self.sites[self.next]
            self.next += 1
            if site.start < position or site.end > end:
                self.bury(site)   # it crosses another: macros can do that
                continue
            self.emit(self.text[position:site.start])
            if site.shape == 'scope' and site.mutations[0].alive:
                begin = self.length
                self.emit(shaped(site, ''))
                self.where.append((begin, self.length, site))
                while self.next < len(self.sites) and self.sites[self.next].start < site.end:
                    self.bury(self.sites[self.next])
                    self.next += 1
                position = site.end
                continue
            before, after = shaped(site, '\0').split('\0')
            begin = self.length
            self.emit(before)
            self.span(site.start, site.end)
            self.emit(after)
            self.where.append((begin, self.length, site))
            position = site.end
        self.emit(self.text[position:end])

    @staticmethod
    def bury(site):
        for mutation in site.mutations:
            mutation.alive = False

    def site_at(self, offset):
        """The innermost site that is still alive there."""
        found = [w for w in self.where
                 if w[0] <= offset < w[1] and any(m.alive for m in w[2].mutations)]
        return min(found, key=lambda w: w[1] - w[0])[2] if found else None


PLACE = re.compile(r'^(\S+?):(\d+):(\d+): *(error|fatal error|note|  required)?', re.M)


class Schema:
    def __init__(self, texts, sites):
        self.texts = texts
        self.by_file = {f: [s for s in sites if s.file == f] for f in texts}
        self.trees, self.rendered = {}, {}

    def write(self, files):
        for file in files:
            tree = Tree(self.texts[file], self.by_file[file])
            text = tree.render()
            self.trees[file], self.rendered[file] = tree, text
            with open(file, 'w') as out:
                out.write(text)

    def kill(self, file, line, column):
        text = self.rendered[file]
        starts = [0] + [m.end() for m in re.finditer('\n', text)]
        offset = starts[line - 1] + column - 1
        site = self.trees[file].site_at(offset)
        doomed = [site] if site else []
        if not doomed:
            first = [0] + [m.end() for m in re.finditer('\n', self.texts[file])]
            lines = [bisect.bisect_right(first, s.start) for s in self.by_file[file]]
            doomed = [s for s, n in zip(self.by_file[file], lines) if n == line]
        killed = [m for s in doomed for m in s.mutations if m.alive]
        for mutation in killed:
            mutation.alive = False
        return bool(killed)

    def compile(self, commands, jobs):
        """Leaves out what does not compile. `commands`: source -> (directory, arguments)."""
        self.write(self.by_file)
        waiting = dict(commands)
        while waiting:
            with concurrent.futures.ThreadPoolExecutor(jobs) as pool:
                outputs = dict(zip(waiting, pool.map(self.errors, waiting.values())))
            waiting = {s: waiting[s] for s, output in outputs.items() if output}
            changed = set()
            for source, output in outputs.items():
                changed |= self.blame(output) if output else set()
            if waiting and not changed:
                raise SystemExit('does not compile, whatever is left out:\n' + max(outputs.values()))
            self.write(changed)

    @staticmethod
    def errors(command):
        directory, arguments = command
        done = subprocess.run(arguments + ['-fsyntax-only', '-fdiagnostics-column-unit=byte'],
                              cwd=directory, capture_output=True, text=True)
        return done.stderr if done.returncode else ''

    def blame(self, output):
        changed = set()
        places = [m for m in PLACE.finditer(output) if m.group(1) in self.texts]
        errors = [m for m in places if (m.group(4) or '').endswith('error')]
        blamed = False
        for place in errors:
            if self.kill(place.group(1), int(place.group(2)), int(place.group(3))):
                changed.add(place.group(1))
                blamed = True
        for place in places if not blamed else []:
            if self.kill(place.group(1), int(place.group(2)), int(place.group(3))):
                changed.add(place.group(1))
        return changed
