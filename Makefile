# Start here. Each target installs what is missing, configures, builds and runs. "make help" lists them.
# Works with make 3.81, the version that macOS has.

PRESET ?= release
BUILD := build/$(PRESET)
# What people run and install is built without tests, in a directory of its own.
HOOK := build/user/TavrinHook/tavrin-hook
TAVRIN := build/user/TavrinTerminal/tavrin
FILES := build/user/files
JOBS_OF_MACHINE := $(shell getconf _NPROCESSORS_ONLN)

.DEFAULT_GOAL := help
.PHONY: help run demo test faults fault-tests planted lint docs format sanitize bench install uninstall hook terminal files package \
	check-package macos test-macos arm64 fuzz coverage nightly build packages release-files release-programs clean

help:
	@echo "For people who use Tavrin (these need a compiler, cmake and the libraries):"
	@echo "make run        replay recorded sessions of all five agents through tavrin-hook, in a scratch home"
	@echo "                (AGENT=codex: only that agent's; KEEP=1: keep the scratch home)"
	@echo "make demo       watch the recorded sessions in the panel, in a tmux of its own (SPEED=2: twice as fast)"
	@echo "make install    install tavrin and tavrin-hook below your home directory, with manual and completions"
	@echo "make uninstall  remove them from there; on a terminal it offers to disconnect the agents first"
	@echo
	@echo "For developers:"
	@echo "make test       build everything and run all tests"
	@echo "make lint       check the sources with clang-format and clang-tidy"
	@echo "                (DEEP=1: with clang's static analyzer too)"
	@echo "make format     format the sources"
	@echo "make sanitize   run all tests under AddressSanitizer and UndefinedBehaviorSanitizer"
	@echo "make fuzz       run each fuzz target for 30 seconds"
	@echo "                (SECONDS=300: for longer; RUNS=1000000: this many inputs; TARGETS=\"event log\": only these;"
	@echo "                JOBS=4: this many at a time; SEED=1: the same inputs each time)"
	@echo "make faults     make every operation fail that can fail (make test does a part of this; takes minutes)"
	@echo "                (DOCS=1: update the table in docs/reliability.md)"
	@echo "make planted    plant faults in a copy of the sources, one at a time; a test must notice each"
	@echo "make coverage   list the branches that no test takes, and fail if there are too many"
	@echo "make bench      measure whole runs against hooks written by hand, and each step of the library"
	@echo "                (DOCS=1: update docs/performance.md)"
	@echo "make docs       make the reference of the library's functions, in build/docs/api"
	@echo "make macos      build for macOS, on Linux"
	@echo "make test-macos run what make macos built, on Linux, and test it"
	@echo "                (FOR=\"x86_64 arm64\": for these processors; what this machine is not runs under qemu)"
	@echo "make arm64      build for 64-bit ARM Linux on another machine, and run the tests under qemu"
	@echo "make package    make the .deb and the archives that people download, in build/package"
	@echo "                (FOR=native: only for this machine)"
	@echo "make check-package"
	@echo "                make the packages for this machine twice and compare them, then install the .deb in a Debian"
	@echo "                and purge it (BARE=1: in an empty directory)"
	@echo "make nightly    run the checks that take too long for every change; takes hours"
	@echo "                (STEPS=\"compilers macos\": only these; see CONTRIBUTING.md)"
	@echo "make clean      remove everything that was built"

# What people run and install. It uses make instead of ninja, and never configures a test.
build/user/Makefile:
	@scripts/install-packages.sh build
	@cmake --preset user

hook: build/user/Makefile
	@scripts/install-packages.sh build
	@MAKEFLAGS=--no-print-directory cmake --build --preset user --target tavrin-hook --parallel $(JOBS_OF_MACHINE)

# Configures again, because libraries may have been installed since.
terminal: build/user/Makefile
ifneq ($(wildcard TavrinTerminal/CMakeLists.txt),)
	@scripts/install-packages.sh build terminal
	@cmake --preset user -DTAVRIN_BUILD_TERMINAL=ON >/dev/null
	@MAKEFLAGS=--no-print-directory cmake --build --preset user --target tavrin --parallel $(JOBS_OF_MACHINE)
endif

# Builds tavrin too where its libraries are there, and installs none of them.
run: hook
	@scripts/install-packages.sh run
	@if scripts/install-packages.sh --check terminal; then $(MAKE) --no-print-directory terminal; fi
	@scripts/replay.py $(if $(AGENT),--agent $(AGENT)) $(if $(KEEP),--keep) $(HOOK) $$(ls $(TAVRIN) 2>/dev/null)

demo: hook terminal
	@scripts/install-packages.sh run demo
	@scripts/demo.py $(if $(SPEED),--speed $(SPEED)) $(HOOK) $(TAVRIN)

# The two programs, the manual pages and the completions, as they are installed.
files: hook terminal
	@MAKEFLAGS=--no-print-directory cmake --build --preset user --target tavrin-files >/dev/null

# BIN, XDG_DATA_HOME and DESTDIR reach the scripts through the environment.
install: files
	@packaging/install.sh "$(FILES)"

uninstall:
	@packaging/uninstall.sh

packages:
	@scripts/install-packages.sh build terminal test

$(BUILD)/build.ninja: | packages
	@cmake --preset $(PRESET)

build: packages $(BUILD)/build.ninja
	@cmake --build --preset $(PRESET)

test: build
	@ctest --preset $(PRESET)

faults: fault-tests
	@tests/faults/table.py $(if $(DOCS),--docs) $(BUILD)
	@$(MAKE) --no-print-directory planted

# Verbose, because each test prints its counts.
fault-tests: build
	@scripts/install-packages.sh faults
	@ctest --preset $(PRESET) -C Faults -L faults --verbose

planted: packages
	@tests/faults/planted/run.py

sanitize:
	@$(MAKE) --no-print-directory test PRESET=sanitize

# Homebrew does not put the compiler that has libFuzzer into PATH.
fuzz coverage: export PATH := $(if $(shell command -v brew),$(shell brew --prefix)/opt/llvm/bin:)$(PATH)
fuzz: SECONDS ?= 30
fuzz:
	@scripts/install-packages.sh build fuzz
	@cmake --preset fuzz >/dev/null
	@cmake --build --preset fuzz
	@scripts/fuzz.py build/fuzz $(if $(RUNS),--runs $(RUNS),--seconds $(SECONDS)) $(if $(SEED),--seed $(SEED)) $(if $(JOBS),--jobs $(JOBS)) $(TARGETS)

coverage:
	@scripts/install-packages.sh build terminal test coverage
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

test-macos: release-programs
	@[ -d build/macos ] || $(MAKE) --no-print-directory macos
	@scripts/test-macos.sh $(FOR)

arm64:
	@scripts/install-packages.sh build terminal test arm64
	@scripts/arm64-sysroot.sh
	@$(MAKE) --no-print-directory test PRESET=arm64

lint: build
	@scripts/install-packages.sh lint
	@scripts/lint.sh $(BUILD) $(if $(DEEP),--deep)

docs:
	@scripts/install-packages.sh docs
	@scripts/api-docs.sh

format:
	@scripts/install-packages.sh lint
	@git ls-files '*.cpp' '*.hpp' | xargs clang-format -i

# The tests that programs of other builds are run with.
release-programs: packages
	@$(MAKE) --no-print-directory build/release/build.ninja PRESET=release
	@cmake --build --preset release --target process_tests tavrin

# Packages contain the release, whatever PRESET is.
release-files: packages
	@scripts/install-packages.sh package
	@$(MAKE) --no-print-directory build/release/build.ninja PRESET=release
	@cmake --preset release >/dev/null
	@cmake --build --preset release --target tavrin-files tavrin-portable

package: release-files
	@scripts/package.sh $(or $(FOR),native arm64 macos source)

check-package: release-files
	@scripts/install-packages.sh $(if $(BARE),,debian)
	@scripts/package.sh native
	@scripts/check-reproducible.sh
	@scripts/check-package.sh $(if $(BARE),--bare)

nightly: packages
	@scripts/nightly.sh $(STEPS)

clean:
	@rm -rf build
