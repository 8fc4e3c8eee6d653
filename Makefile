# The front door. Below it are CMake presets, which work alone where the packages are there.
.DEFAULT_GOAL := help
MAKEFLAGS += --no-print-directory
JOBS := $(shell nproc)

DIR ?= $(CURDIR)
LEVEL ?= off
MINUTES ?= 10
KILLS ?= 200
SECONDS := 0.6
PREFIX ?= /usr/local
# The shell reads these from its environment, where a blank is a blank, and "$" no reference of make's.
ifneq ($(origin DIR),file)
override DIR := $(value DIR)
endif
override PREFIX := $(value PREFIX)
override DESTDIR := $(value DESTDIR)
export DIR PREFIX DESTDIR

LIBRARY := build/lib/libzolthadoop.so.1.0.0
CLIENT := build/client/local
JARS := build/java/zolt-hadoop.jar:/usr/share/java/slf4j-api.jar:/usr/share/java/slf4j-simple.jar
SOURCES = $(shell git ls-files --cached --others --exclude-standard '*.h' '*.cpp')
JAVA_SOURCES = $(shell git ls-files --cached --others --exclude-standard 'java/*.java' 'tests/*.java' 'bench/*.java' 'hdfs/*.java')

N ?= 300

.PHONY: help demo test test-programs cephfs demo-cephfs test-cephfs hdfs walk hostile fuzz fuzzers soak soak-cephfs soak-hdfs deps build javadoc
.PHONY: asan tsan coverage mutants bench bench-calls bench-cephfs bench-profile bench-ls bench-count bench-portable bench-hdfs
.PHONY: lint format tidy
.PHONY: install uninstall packages packages-cephfs packages-portable portable publish reproducible platforms clean

help: ## this text
	@sed -n 's/^\([a-z-]*\):.*## \(.*\)/  make \1\t\2/p' $(MAKEFILE_LIST) | expand -t 26
	@echo '  (demo takes DIR=/some/dir and LEVEL=trace|debug|info|warn|error|off; soak takes SEED=number)'

demo: build ## serve a folder by HDFS, with Hadoop's shell on it; with DIR= or LEVEL= a tour: zolt tour DIR
	@if [ '$(origin DIR) $(origin LEVEL)' = 'file file' ]; then \
	  scripts/deps.sh hadoop >/dev/null 2>&1 || :; \
	  hdfs/demo.sh; status=$$?; [ $$status -eq 3 ] || exit $$status; fi; \
	ZOLT_LOG=$(LEVEL) bin/zolt tour "$$DIR"

test: ## every test: the core alone, the natives in virtual machines, a little fuzzing, the HDFS service
	@scripts/deps.sh build test
	@cmake --preset test >/dev/null
	@cmake --build --preset test -j $(JOBS)
	@ctest --preset test -j $(JOBS)
	@$(MAKE) fuzzers
	@tests/fuzz/run.sh build/fuzz runs 10000
	@scripts/deps.sh hadoop >/dev/null 2>&1 || :
	@hdfs/test.sh build

soak: ## 32 threads of random calls for MINUTES=10, then KILLS=200 virtual machines killed at work
	@scripts/deps.sh build test
	@cmake --preset test >/dev/null
	@MINUTES=$(MINUTES) KILLS=$(KILLS) SEED=$(SEED) cmake --build --preset test -j $(JOBS) --target soak

soak-cephfs: MINUTES = 3
soak-cephfs: KILLS = 20
soak-cephfs: build cephfs ## the same on a CephFS of its own, whose OSDs are in memory: MINUTES=3, KILLS=20
	@scripts/deps.sh test cluster
	@out=$$(cmake --build --preset cephfs -j $(JOBS) 2>&1) || { echo "$$out"; exit 1; }
	@scripts/cephfs.sh tests/cephfs/soak.sh build $(MINUTES) $(KILLS)

soak-hdfs: KILLS = 100
soak-hdfs: hdfs ## two NameNodes on one folder, of which one or the other is killed KILLS=100 times under load
	@ZOLT_TEST_OPTS=-Dzolt.test.kills=$(KILLS) hdfs/test.sh build 'zolt.hdfs.namenode.KilledNameNodesTest'
	@sed -n 's/^\([0-9]* kills: .*\)/\1/p' build/hdfs/test.log

test-programs: hdfs ## MapReduce, Spark and a bare machine on zolt:// and hdfs:// (PROGRAMS=; gets some 900 MB)
	@scripts/deps.sh programs
	@hdfs/programs/programs.sh build $(PROGRAMS)

hostile: ## every native with everything that its parameters may be given
	@scripts/deps.sh build test
	@cmake --preset test >/dev/null
	@echo 'Building the tests'
	@out=$$(cmake --build --preset test -j $(JOBS)) || { echo "$$out"; exit 1; }
	@scripts/watched.sh build/hostile.log 's/^[0-9]*: //; /^[a-z]*: /p; /tests passed\|tests failed/p' \
	  ctest --preset test -R '^jvm.hostile$$' -V

hdfs: build ## the HDFS service, with Maven
	@scripts/deps.sh hadoop
	@echo 'Building build/hdfs/'
	@why=$$(hdfs/build.sh build/hdfs) || { echo "No HDFS service: $$why"; exit 1; }

cephfs: deps ## libzolt.so for CephFS, in build/client/cephfs
	@scripts/deps.sh test cephfs
	@cmake --preset cephfs >/dev/null
	@echo 'Building build/client/cephfs/'
	@out=$$(cmake --build --preset cephfs -j $(JOBS) --target zolt_cephfs 2>&1) || { echo "$$out"; exit 1; }

demo-cephfs: build cephfs ## a CephFS of its own: the tour on it, and where the blocks of a file lie on three OSDs
	@scripts/deps.sh cluster
	@CLIENT=$(CURDIR)/build/client/cephfs scripts/cephfs.sh tests/cephfs/demo.sh bin/zolt

test-cephfs: build cephfs ## the client for CephFS and the HDFS service, on clusters of their own (ONLY=)
	@scripts/deps.sh cluster
	@scripts/deps.sh hadoop >/dev/null 2>&1 || :
	@ONLY='$(ONLY)' tests/cephfs/run.sh build

deps: ## install what the build needs (when root; else name it)
	@scripts/deps.sh build

build: deps ## the library, the embedded client and the Java side
	@case "$$PWD" in *[:\$$]*) echo "make: a clone whose path has ':' or '$$' in it cannot be built: compilers part paths there" >&2; exit 1;; esac
	@[ ! -e build ] || [ -w build ] || { echo "build/ belongs to $$(stat -c %U build): call make as that user," \
	  'or in a clone of your own' >&2; exit 1; }
	@cmake --preset release >/dev/null
	@echo 'Building build/lib/ and build/client/'
	@out=$$(cmake --build --preset release -j $(JOBS) 2>&1) || { echo "$$out"; exit 1; }

portable: build ## the library for x86-64 and arm64, GLIBC 2.17 and later, and a jar with both, in build/portable/
	@scripts/deps.sh portable
	@scripts/portable.sh build

javadoc: build ## the documentation of the Java interface, in build/java/javadoc
	@cmake --build --preset release --target javadoc

asan: ## the tests under AddressSanitizer, UBSan and LeakSanitizer
	@scripts/deps.sh build test
	@cmake --preset asan >/dev/null
	@cmake --build --preset asan -j $(JOBS)
	@ctest --preset asan -j $(JOBS)

tsan: ## the tests of the core under ThreadSanitizer
	@scripts/deps.sh build test
	@cmake --preset tsan >/dev/null
	@cmake --build --preset tsan -j $(JOBS)
	@ctest --preset tsan

coverage: ## what of src/ the tests run: lines, branches, and what never ran
	@scripts/deps.sh build test coverage
	@cmake --preset coverage >/dev/null
	@out=$$(cmake --build --preset coverage -j $(JOBS) 2>&1) || { echo "$$out"; exit 1; }
	@find build/coverage -name '*.gcda' -delete
	@ctest --preset coverage -j $(JOBS)
	@tests/coverage/report.py . build/coverage

fuzz: MINUTES = 30
fuzz: fuzzers ## hostile input of libFuzzer for MINUTES=30
	@nice tests/fuzz/run.sh build/fuzz minutes $(MINUTES)

fuzzers:
	@scripts/deps.sh build test
	@cmake --preset fuzz >/dev/null
	@out=$$(cmake --build --preset fuzz -j $(JOBS) 2>&1) || { echo "$$out"; exit 1; }

mutants: ## break the library in N=300 small ways and name those that no test notices
	@scripts/deps.sh build test mutants
	@nice -n 10 tests/mutants/mutate.py -n $(N)

walk: ## every native with each of its steps failing in turn, and pairs of them: the figures
	@scripts/deps.sh build test
	@cmake --preset test >/dev/null
	@echo 'Building the tests'
	@out=$$(cmake --build --preset test -j $(JOBS) 2>&1) || { echo "$$out"; exit 1; }
	@WALK_PAIRS=true scripts/watched.sh build/walk.log 's/^[0-9]*: //; /^at: /p; s/^.*\(walk: .*\)/\1/p; / Test  *#/p' \
	  ctest --preset test -L walk -V

bench: build ## each native beside its floor and beside what Java offers (SECONDS=, LONG=1, ONLY=, DOCUMENT=1)
	@scripts/deps.sh bench
	@out=$$(cmake --build --preset release -j $(JOBS) --target zolt_bench 2>&1) || { echo "$$out"; exit 1; }
	@scripts/deps.sh hadoop >/dev/null 2>&1 || :
	@hadoop=$$(bench/hadoop/build.sh build/bench/hadoop) && export HADOOP="$$hadoop" || export WITHOUT="$$hadoop"; \
	  ONLY='$(ONLY)' bench/run.sh $(CURDIR)/build $(CURDIR)/build/bench $(SECONDS) $(if $(LONG),long); \
	  status=$$?; $(if $(DOCUMENT),bench/document.sh build/bench >build/bench/page.md && cp build/bench/page.md docs/performance.md;) exit $$status

bench-calls: build ## the system calls of each native against its floor's, by strace
	@scripts/deps.sh bench
	@out=$$(cmake --build --preset release -j $(JOBS) --target zolt_bench 2>&1) || { echo "$$out"; exit 1; }
	@bench/calls.py build build/bench/calls

bench-cephfs: build cephfs ## on a CephFS of its own: each native beside its bare system calls, a map, a large listing (SECONDS=, ONLY=)
	@scripts/deps.sh test cluster
	@out=$$(cmake --build --preset release -j $(JOBS) --target zolt_bench 2>&1) || { echo "$$out"; exit 1; }
	@CLIENT=$(CURDIR)/build/client/cephfs ONLY='$(ONLY)' scripts/cephfs.sh bench/cephfs.sh $(CURDIR)/build $(SECONDS)

bench-profile: build ## where the time of each way goes, by perf: kernel, virtual machine, Java, native (ONLY=)
	@scripts/deps.sh bench profile
	@out=$$(cmake --build --preset release -j $(JOBS) --target zolt_bench 2>&1) || { echo "$$out"; exit 1; }
	@ONLY='$(ONLY)' bench/profile.sh build build/bench/profile $(SECONDS)

bench-ls: build ## zolt ls beside ls -U1 on a directory of a million names
	@mkdir -p build/bench
	@bench/ls.py bin/zolt $${TMPDIR:-/var/tmp} 1000000 15 >build/bench/ls.txt; status=$$?; cat build/bench/ls.txt; exit $$status

bench-count: build ## instructions of the core's hot paths against bench/counts.tsv (ACCEPT=1)
	@scripts/deps.sh bench
	@out=$$(cmake --build --preset release -j $(JOBS) --target zolt_counts 2>&1) || { echo "$$out"; exit 1; }
	@ACCEPT=$(ACCEPT) bench/count.sh build/bench/zolt_counts bench/counts.tsv build/bench/counts

bench-portable: SECONDS = 0.2
bench-portable: build ## the portable library beside this build's: instructions, and the time of each native (SECONDS=)
	@scripts/deps.sh bench portable
	@out=$$(cmake --build --preset release -j $(JOBS) --target zolt_bench zoltrivals zolt_counts 2>&1) || { echo "$$out"; exit 1; }
	@scripts/portable.sh build zolt_counts
	@bench/rival.sh build $(SECONDS) docs/performance.md

bench-hdfs: hdfs ## Hadoop's own NameNode and the HDFS service side by side (PARTS=, FILES=100000, OPERATIONS=5000)
	@FILES='$(FILES)' OPERATIONS='$(OPERATIONS)' hdfs/bench.sh build $(PARTS)

lint: format tidy ## formatting and style, house rules; what differs from main by clang and clang-tidy (ALL=1: everything)

format:
	@scripts/deps.sh lint
	@clang-format --dry-run -Werror $(SOURCES)
	@out=$$(checkstyle -c .checkstyle.xml $(JAVA_SOURCES)) || { echo "$$out"; exit 1; }
	@scripts/house_rules.py

tidy:
	@scripts/deps.sh build test lint
	@scripts/tidy.py -j $(JOBS) $(if $(ALL),--all)

install: build ## into PREFIX (/usr/local), below DESTDIR
	@scripts/install.sh build "$$PREFIX"

uninstall: build ## take away what "make install" with the same PREFIX and DESTDIR has put there
	@scripts/install.sh build "$$PREFIX" remove

packages: build ## build/packages/: .deb and .rpm of library, command and embedded client
	@scripts/deps.sh packages
	@scripts/packages.sh build "$$(g++ -print-multiarch)"

packages-cephfs: build cephfs ## build/packages-cephfs/: the .deb of the client for CephFS
	@scripts/deps.sh packages
	@scripts/packages.sh build "$$(g++ -print-multiarch)" cephfs

packages-portable: portable ## the same for x86-64 and arm64 and GLIBC 2.17, in build/portable/MACHINE/packages/
	@scripts/deps.sh packages
	@for machine in x86_64 aarch64; do scripts/packages.sh build/portable/$$machine $$machine-linux-gnu || exit 1; done

publish: portable javadoc ## build/maven/: the jar with both libraries, sources, documentation, bill of materials
	@scripts/publish.sh build

reproducible: deps ## every package and what is published, built twice: the same to the byte
	@tests/packages/reproducible.sh .

platforms: build ## the portable libraries on other systems, machines and Javas; the table of docs/operators.md (ONLY=)
	@scripts/deps.sh test portable platforms
	@TESTS=ON scripts/portable.sh build core_tests zolttest zoltfaults zoltfaults_acl zolt_test_java
	@tests/platforms/run.sh build $(ONLY); status=$$?; tests/platforms/document.sh build docs/operators.md; exit $$status

clean: ## remove build/
	rm -rf build
