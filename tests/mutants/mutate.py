#!/usr/bin/python3
"""Breaks the library in many small ways and asks the tests of each.

All mutants are built at once (schema.py) and chosen by ZOLT_MUTANT. A test that never comes by a
mutant's site cannot tell it from the original, so first each test runs alone and the sites that it
reaches are written down; then every mutant meets the tests that reach it: those of the core, and
where all of them pass, those of the virtual machine with everything logged. What is left then meets
the virtual machines with INFO and with nothing logged.

The outcomes are appended to build/mutants/results.jsonl. A mutant once caught is not asked again
while src/ is what it was; those that survived are asked again whenever the command is repeated.
"""
import argparse
import concurrent.futures
import hashlib
import json
import os
import random
import re
import shutil
import subprocess
import sys
import threading
import time
from collections import Counter
from pathlib import Path

import schema
from sites import Finder

ROOT = Path(__file__).resolve().parents[2]
HOME = ROOT / 'build/mutants'
TREE, BUILD = HOME / 'tree', HOME / 'build'
EQUIVALENT = Path(__file__).with_name('equivalent.txt')
FLAGS = '-w -O1 -fpermissive -Wno-narrowing -include mutant.h'
TARGETS = ['core_tests', 'zolthadoop', 'zolttest', 'zoltfaults_acl', 'zolt_test_java']
LEVELS = ('trace', 'info', 'off')
lock = threading.Lock()


def run(command, **options):
    done = subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True,
                          errors='replace', **options)
    if done.returncode:
        sys.exit(f'{command}\n{done.stdout[-4000:]}')
    return done.stdout


def digest(*folders):
    total = hashlib.sha256()
    files = run(['git', 'ls-files', '-co', '--exclude-standard', '--', *folders], cwd=ROOT).split()
    for name in sorted(files):
        if (ROOT / name).is_file():
            total.update(name.encode() + b'\0' + (ROOT / name).read_bytes())
    return total.hexdigest()


# Building.

def copy_tree(broken):
    """The working tree as it is, so that the copy may be broken; if its sources are, they stay."""
    TREE.mkdir(parents=True, exist_ok=True)
    names = run(['git', 'ls-files', '-co', '--exclude-standard'], cwd=ROOT).split('\n')
    kept = set()
    for name in filter(None, names):
        source, copy = ROOT / name, TREE / name
        if not source.is_file():
            continue
        kept.add(copy)
        if broken and name.startswith('src/'):
            continue
        copy.parent.mkdir(parents=True, exist_ok=True)
        text = source.read_bytes()
        if name == 'src/CMakeLists.txt':
            target = b'add_library(zolt_core OBJECT'
            text = text.replace(target, target + b' mutant.cpp')
        if not copy.exists() or copy.read_bytes() != text:
            shutil.copy2(source, copy)
            copy.write_bytes(text)
    for copy in TREE.rglob('*'):
        if copy.is_file() and copy not in kept and copy.name not in ('mutant.h', 'mutant.cpp'):
            copy.unlink()
    for name, text in (('mutant.h', schema.HEADER), ('mutant.cpp', schema.RUNTIME)):
        if not (TREE / 'src' / name).exists() or (TREE / 'src' / name).read_text() != text:
            (TREE / 'src' / name).write_text(text)


def commands():
    found = {}
    for entry in json.loads((BUILD / 'compile_commands.json').read_text()):
        file = entry['file']
        if not file.startswith(str(TREE / 'src')) or file.endswith('mutant.cpp'):
            continue
        words = [w.replace('\\"', '"') for w in entry['command'].split()]
        words = [w for w in words if not w.endswith('ccache')]
        output = words.index('-o')
        del words[output:output + 2]
        found[file] = (entry['directory'], [w for w in words if w != '-c'])
    return found


def find_mutants():
    """Sites in the order of the sources, numbered; the copy is left with all that compile in it."""
    finder = Finder(str(TREE / 'src') + '/')
    compiled = commands()
    for file, (_, words) in sorted(compiled.items()):
        finder.parse(file, [w for w in words[1:] if w != file and not w.startswith('-Wno-narrow')])
    finder.texts.pop(str(TREE / 'src/mutant.h'), None)
    sites = sorted((s for s in finder.sites.values() if s.file in finder.texts),
                   key=lambda s: (s.file, s.start, s.end, s.shape))
    number = 0
    for site in sites:
        for mutation in site.mutations:
            number += 1
            mutation.number = number
    whole = schema.Schema(finder.texts, sites)
    whole.compile(compiled, os.cpu_count())

    mutants, seen = [], Counter()
    for site in sites:
        text = finder.texts[site.file]
        line = text[text.rfind('\n', 0, site.start) + 1:].split('\n', 1)[0].strip()
        for mutation in site.mutations:
            if not mutation.alive:
                continue
            name = os.path.relpath(site.file, TREE)
            key = [name, line, mutation.original, mutation.changed]
            seen[tuple(key)] += 1
            if seen[tuple(key)] > 1:
                key.append(str(seen[tuple(key)]))
            mutants.append({'number': mutation.number, 'key': key,
                            'line': text.count('\n', 0, site.start) + 1})
    return mutants, number


def build():
    """The mutants, all of them built; what was built of the same files before is taken as it is."""
    stamp = HOME / 'mutants.json'
    sources = digest('src', 'client', 'java', 'cmake')
    tests = digest('tests', 'CMakeLists.txt', ':!tests/mutants')
    tools = digest('tests/mutants/sites.py', 'tests/mutants/schema.py')
    known = json.loads(stamp.read_text()) if stamp.exists() else {}
    broken = known.get('sources') == sources and known.get('tools') == tools
    if broken and known['tests'] == tests:
        return known['mutants'], sources
    print('Building all mutants in build/mutants', flush=True)
    stamp.unlink(missing_ok=True)
    (HOME / 'reach.json').unlink(missing_ok=True)
    copy_tree(broken)
    run(['cmake', '-S', TREE, '-B', BUILD, '-G', 'Ninja', '-DZOLT_WERROR=OFF',
         '-DCMAKE_BUILD_TYPE=None', f'-DCMAKE_CXX_FLAGS={FLAGS} -I{TREE}/src'])
    if broken:
        mutants = known['mutants']
    else:
        run(['cmake', '--build', BUILD, '--target', 'zolt_java'])
        mutants, made = find_mutants()
        print(f'{made} mutants found, {len(mutants)} of them compile')
    run(['cmake', '--build', BUILD, '--target', *TARGETS])
    stamp.write_text(json.dumps(
        {'sources': sources, 'tools': tools, 'tests': tests, 'mutants': mutants}))
    return mutants, sources


# Running.

class Suite:
    """One test program: how a choice of its tests is run, as the test preset runs all of them."""

    def __init__(self, name, entry):
        self.name = name
        self.words = entry['command']
        self.environment = dict(os.environ)
        for setting in next(p['value'] for p in entry['properties'] if p['name'] == 'ENVIRONMENT'):
            variable, value = setting.split('=', 1)
            self.environment[variable] = value

    def run(self, tests, mutant, timeout, reached=None):
        """None when they pass; else what tells that they do not."""
        environment = self.environment | {'ZOLT_MUTANT': str(mutant)}
        if reached:
            environment['ZOLT_REACHED'] = str(reached)
        process = subprocess.Popen(['nice', '-n', '10', *self.command(tests)], env=environment,
                                   stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True,
                                   errors='replace', start_new_session=True, cwd=HOME)
        try:
            output, _ = process.communicate(timeout=timeout)
        except subprocess.TimeoutExpired:
            os.killpg(process.pid, 9)
            process.communicate()
            return 'no end'
        if process.returncode == 0:
            return None
        failed = re.search(self.failure, output)
        return failed.group(1) if failed else f'exit {process.returncode}'


class Core(Suite):
    failure = r'\[  FAILED  \] (\S+)'

    def command(self, tests):
        return [self.words[0], '--gtest_brief=1', '--gtest_fail_fast',
                '--gtest_filter=' + ':'.join(tests)]

    def tests(self):
        output = run([self.words[0], '--gtest_list_tests'], env=self.environment)
        suite, names = '', []
        for line in output.split('\n'):
            word = line.split('#')[0].rstrip()
            if word.endswith('.') and not line.startswith(' '):
                suite = word
            elif line.startswith('  '):
                names.append(suite + word.strip())
        return names


class Jvm(Suite):
    failure = r'MethodSource \[className = \'([^\']+)\''

    def command(self, tests):
        return [self.words[0]] + [f'--select-class={t}' for t in tests]

    def tests(self):
        folder = ROOT / 'tests/jvm/java'
        return sorted(str(p.relative_to(folder))[:-5].replace('/', '.')
                      for p in folder.rglob('*Test.java'))


def suites():
    described = json.loads(run(['ctest', '--test-dir', BUILD, '--show-only=json-v1']))
    tests = {t['name']: t for t in described['tests']}
    return Core('core', tests['core']), [Jvm(l, tests[f'jvm.suite-{l}']) for l in LEVELS]


def measure(suite, jobs):
    """test -> [seconds, sites]; every test must pass while no mutant lives."""
    def one(test):
        marks = HOME / f'reached.{threading.get_ident()}'
        marks.unlink(missing_ok=True)
        begin = time.monotonic()
        wrong = suite.run([test], 0, 300, marks)
        if wrong:
            sys.exit(f'{test} fails without a mutant: {wrong}')
        data = marks.read_bytes() if marks.exists() else b''
        marks.unlink(missing_ok=True)
        return test, [time.monotonic() - begin, [i for i, mark in enumerate(data) if mark]]
    with concurrent.futures.ThreadPoolExecutor(jobs) as pool:
        return dict(pool.map(one, suite.tests()))


class Judge:
    def __init__(self, core, jvms, jobs):
        self.core, self.jvms, self.jobs = core, jvms, jobs
        self.stamp = HOME / 'reach.json'
        self.reached = json.loads(self.stamp.read_text()) if self.stamp.exists() else {}
        self.sites = {}
        self.measuring = threading.Lock()

    def measured(self, suite):
        """Measures a suite when it is first asked: most mutants never meet the last ones."""
        if suite.name in self.sites:
            return self.sites[suite.name]
        with self.measuring:
            if suite.name not in self.reached:
                print(f'Running each test alone, to see what it reaches: {suite.name}', flush=True)
                self.reached[suite.name] = measure(suite, self.jobs)
                self.stamp.write_text(json.dumps(self.reached))
            if suite.name not in self.sites:
                self.sites[suite.name] = {
                    test: set(sites) for test, (_, sites) in self.reached[suite.name].items()}
            return self.sites[suite.name]

    def related(self, suite, number):
        """The tests that reach it, those that reach little else and are quick first."""
        sites = self.measured(suite)
        tests = [t for t, reached in sites.items() if number in reached]
        return sorted(tests, key=lambda t: len(sites[t]) * (0.05 + self.reached[suite.name][t][0]))

    def verdict(self, number):
        tests = self.related(self.core, number)
        for some in (tests[:40], tests[40:]):
            if some and (wrong := self.ask(self.core, some, number)):
                return wrong
        return self.in_a_vm(self.jvms[0], number)

    def in_a_vm(self, jvm, number):
        """Where less is logged the same classes are asked, or all where none of them comes by."""
        classes = self.related(self.jvms[0], number) or sorted(self.measured(self.jvms[0]))
        for some in (classes[:3], classes[3:10], classes[10:]):
            if some and (wrong := self.ask(jvm, some, number)):
                return wrong
        return None

    def ask(self, suite, tests, number):
        measured = self.jvms[0] if suite in self.jvms else suite
        usual = sum(self.reached[measured.name][test][0] for test in tests)
        wrong = suite.run(tests, number, 20 + 5 * usual)
        return f'{suite.name}: {wrong}' if wrong else None


# Reporting.

def equivalents():
    """Entries of equivalent.txt: a file, the line, what is changed, and why that changes nothing."""
    found = {}
    if not EQUIVALENT.exists():
        return found
    text = re.sub(r'^#.*\n', '', EQUIVALENT.read_text(), flags=re.M)
    for entry in filter(None, (e.strip() for e in text.split('\n\n'))):
        file, line, *rest = entry.split('\n')
        reason = [r for r in rest if r.startswith('  because ')]
        changes = [r.strip() for r in rest if r.startswith('  - ')]
        if not line.startswith('  ') or len(reason) != 1 or not changes:
            sys.exit(f'equivalent.txt: not an entry:\n{entry}')
        for change in changes:
            found[(file.strip(), line.strip(), change[2:])] = reason[0].strip()
    return found


def is_equivalent(same, key):
    change = change_of(key)
    return (key[0], key[1], change) in same or ('*', '*', change) in same


def change_of(key):
    _, _, original, changed, *nth = key
    what = f'dropped: {original}' if changed == '' else f'{original}  =>  {changed}'
    return what + (f'  (no. {nth[0]})' if nth else '')


def main():
    arguments = argparse.ArgumentParser(description=__doc__.split('\n')[0])
    arguments.add_argument('-n', type=int, default=300, help='how many mutants, 0 for all')
    arguments.add_argument('-s', type=int, default=1, help='the seed that chooses them')
    arguments.add_argument('-j', type=int, default=os.cpu_count())
    arguments.add_argument('--list', action='store_true', help='only show what would be tried')
    options = arguments.parse_args()
    HOME.mkdir(parents=True, exist_ok=True)

    mutants, sources = build()
    random.Random(options.s).shuffle(mutants)
    chosen = mutants[:options.n] if options.n else mutants
    same = equivalents()
    known = {(m['key'][0], m['key'][1], change_of(m['key'])) for m in mutants}
    known |= {('*', '*', change) for _, _, change in known}
    for file, line, change in same:
        if (file, line, change) not in known:
            print(f'equivalent.txt: no such mutant any more: {file}: {line}: {change}')
    if options.list:
        for m in chosen:
            print(f"{m['key'][0]}:{m['line']}: {change_of(m['key'])}")
        return 0

    core, jvms = suites()
    judge = Judge(core, jvms, options.j)
    results = HOME / 'results.jsonl'
    caught, survived, equivalent = {}, [], []
    if results.exists():
        for line in results.read_text().split('\n'):
            entry = json.loads(line) if line else None
            if entry and entry['sources'] == sources and entry['by']:
                caught[tuple(entry['key'])] = entry['by']

    def note(mutant, by):
        key = tuple(mutant['key'])
        with lock:
            with results.open('a') as out:
                out.write(json.dumps({'sources': sources, 'key': key, 'by': by}) + '\n')
            if by:
                caught[key] = by

    def first(mutant):
        """The core and the virtual machine that logs everything."""
        key = tuple(mutant['key'])
        if is_equivalent(same, key):
            equivalent.append(mutant)
        elif key not in caught:
            note(mutant, judge.verdict(mutant['number']))
            if key not in caught:
                survived.append(mutant)

    def second(mutant):
        """The virtual machines that log less."""
        for jvm in jvms[1:]:
            if by := judge.in_a_vm(jvm, mutant['number']):
                note(mutant, by)
                survived.remove(mutant)
                return
        key = mutant['key']
        print(f"survived: {key[0]}:{mutant['line']}: {change_of(key)}", flush=True)

    with concurrent.futures.ThreadPoolExecutor(options.j) as pool:
        for done, _ in enumerate(pool.map(first, chosen), 1):
            if done % 100 == 0:
                print(f'{done} of {len(chosen)} tried, {len(survived)} left for the quieter levels', flush=True)
        list(pool.map(second, list(survived)))
    counted = sum(tuple(m['key']) in caught for m in chosen)
    for crash in HOME.glob('hs_err_pid*.log'):
        crash.unlink()   # of virtual machines that a mutant has killed
    print(f'{len(chosen)} of {len(mutants)} mutants: {counted} caught, {len(equivalent)} equivalent, '
          f'{len(survived)} survived: {100 * counted / max(1, counted + len(survived)):.1f} of 100 caught')
    return 0 if counted >= 0.95 * (counted + len(survived)) else 1


if __name__ == '__main__':
    sys.exit(main())
