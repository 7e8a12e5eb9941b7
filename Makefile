# The front door: each target installs what it lacks, configures, builds and does its job. See `make help`.

PRESET ?= release
BUILD := build/$(PRESET)
HOOK := $(BUILD)/TavrinHook/tavrin-hook

.DEFAULT_GOAL := help
.PHONY: help run test faults fault-tests planted lint docs format sanitize bench install uninstall hook package check-package macos arm64 fuzz coverage build packages clean

help:
	@echo "make run        play recorded sessions of all five agents through tavrin-hook, in a scratch home"
	@echo "                (AGENT=codex: only that agent's; KEEP=1: keep the scratch home)"
	@echo "make test       build everything and run all tests"
	@echo "make faults     make everything fail that can, in full (make test does a part of it; takes minutes)"
	@echo "                (DOCS=1: put the table into docs/reliability.md)"
	@echo "make planted    plant faults in a copy of the sources, one at a time, and see that a test notices each"
	@echo "make lint       check the sources with clang-format and clang-tidy"
	@echo "make sanitize   run all tests under AddressSanitizer and UndefinedBehaviorSanitizer"
	@echo "make bench      measure whole runs beside hooks written by hand, and the library's steps"
	@echo "                (DOCS=1: put the results into docs/performance.md and README.md)"
	@echo "make docs       make the reference of the library's functions, in build/docs/api"
	@echo "make macos      build for macOS, on Linux"
	@echo "make arm64      build for 64-bit ARM Linux on another, and run the tests under qemu"
	@echo "make fuzz       run each fuzz target for 30 seconds (SECONDS=300: longer; RUNS=1000000: so often;"
	@echo "                TARGETS=\"event log\": only those; JOBS=4: so many at once;"
	@echo "                SEED=1: by the same chance each time)"
	@echo "make coverage   say which branches the tests do not take, and fail when they are too many"
	@echo "make install    put tavrin-hook where agents' settings look for it, below your home directory"
	@echo "make uninstall  remove it from there"
	@echo "make package    make the .deb and the archives that people download, in build/package"
	@echo "                (FOR=native: for this machine alone)"
	@echo "make check-package"
	@echo "                make those for this machine twice and compare, install the .deb in a Debian and purge it"
	@echo "                (BARE=1: in an empty directory)"
	@echo "make format     format the sources"
	@echo "make clean      remove everything that was built"

packages:
	@scripts/install-packages.sh build test

$(BUILD)/build.ninja: | packages
	@cmake --preset $(PRESET)

build: packages $(BUILD)/build.ninja
	@cmake --build --preset $(PRESET)

hook: packages $(BUILD)/build.ninja
	@cmake --build --preset $(PRESET) --target tavrin-hook

run: hook
	@scripts/replay.py $(if $(AGENT),--agent $(AGENT)) $(if $(KEEP),--keep) $(HOOK)

test: build
	@ctest --preset $(PRESET)

# DOCS=1 puts the table into docs/reliability.md.
faults: fault-tests
	@tests/faults/table.py $(if $(DOCS),--docs) $(BUILD)
	@$(MAKE) --no-print-directory planted

# Verbose, for the counts that each test tells.
fault-tests: build
	@ctest --preset $(PRESET) -C Faults -L faults --verbose

planted: packages
	@tests/faults/planted/run.py

sanitize:
	@$(MAKE) --no-print-directory test PRESET=sanitize

# Homebrew keeps the compiler that has libFuzzer out of the way.
fuzz coverage: export PATH := $(if $(shell command -v brew),$(shell brew --prefix)/opt/llvm/bin:)$(PATH)
fuzz: SECONDS ?= 30
fuzz:
	@scripts/install-packages.sh build fuzz
	@cmake --preset fuzz >/dev/null
	@cmake --build --preset fuzz
	@scripts/fuzz.py build/fuzz $(if $(RUNS),--runs $(RUNS),--seconds $(SECONDS)) $(if $(SEED),--seed $(SEED)) $(if $(JOBS),--jobs $(JOBS)) $(TARGETS)

coverage:
	@scripts/install-packages.sh build test coverage
	@cmake --preset coverage >/dev/null
	@cmake --build --preset coverage
	@rm -rf build/coverage/profiles
	@ctest --preset coverage --parallel 2 --progress
	@scripts/coverage.py build/coverage

bench: packages
	@scripts/install-packages.sh bench
	@scripts/bench.sh $(if $(DOCS),--docs)

macos:
	@scripts/build-macos.sh

arm64:
	@scripts/install-packages.sh build arm64
	@scripts/arm64-sysroot.sh
	@$(MAKE) --no-print-directory test PRESET=arm64

lint: build
	@scripts/install-packages.sh lint
	@scripts/lint.sh $(BUILD)

docs:
	@scripts/install-packages.sh docs
	@scripts/api-docs.sh

format:
	@scripts/install-packages.sh lint
	@git ls-files '*.cpp' '*.hpp' | xargs clang-format -i

# BIN and DESTDIR reach the scripts by the environment.
install: hook
	@packaging/install.sh $(HOOK)

uninstall:
	@packaging/uninstall.sh

# What is packed is the release, whatever PRESET says.
package:
	@$(MAKE) --no-print-directory hook PRESET=release
	@scripts/package.sh $(or $(FOR),native arm64 macos)

check-package:
	@$(MAKE) --no-print-directory hook PRESET=release
	@scripts/install-packages.sh package $(if $(BARE),,debian)
	@scripts/package.sh native
	@scripts/check-reproducible.sh
	@scripts/check-package.sh $(if $(BARE),--bare)

clean:
	@rm -rf build
