# The front door: each target installs what it lacks, configures, builds and does its job. See `make help`.

PRESET ?= release
BUILD := build/$(PRESET)
HOOK := $(BUILD)/TavrinHook/tavrin-hook
BIN ?= $(HOME)/Library/Application Support/Tavrin/bin

.DEFAULT_GOAL := help
.PHONY: help run test lint format sanitize fuzz coverage bench install build packages clean

help:
	@echo "make run        play recorded sessions of all five agents through tavrin-hook, in a scratch home"
	@echo "                (AGENT=codex: only that agent's; KEEP=1: keep the scratch home)"
	@echo "make test       build everything and run all tests"
	@echo "make lint       check the sources with clang-format and clang-tidy"
	@echo "make sanitize   run all tests under AddressSanitizer and UndefinedBehaviorSanitizer"
	@echo "make bench      measure whole runs beside hooks written by hand, and the library's steps"
	@echo "                (DOCS=1: put the results into docs/performance.md and README.md)"
	@echo "make fuzz       run each fuzz target for 30 seconds (SECONDS=300: longer; RUNS=1000000: so often;"
	@echo "                TARGETS=\"event log\": only those)"
	@echo "make coverage   say which branches the tests do not take, and fail when they are too many"
	@echo "make install    put tavrin-hook where agents' settings look for it, below your home directory"
	@echo "make format     format the sources"
	@echo "make clean      remove everything that was built"

packages:
	@scripts/install-packages.sh build test

$(BUILD)/build.ninja: | packages
	@cmake --preset $(PRESET)

build: packages $(BUILD)/build.ninja
	@cmake --build --preset $(PRESET)

run: packages $(BUILD)/build.ninja
	@cmake --build --preset $(PRESET) --target tavrin-hook
	@scripts/replay.py $(if $(AGENT),--agent $(AGENT)) $(if $(KEEP),--keep) $(HOOK)

test: build
	@ctest --preset $(PRESET)

sanitize:
	@$(MAKE) --no-print-directory test PRESET=sanitize

# Homebrew keeps the compiler that has libFuzzer out of the way.
fuzz coverage: export PATH := $(if $(shell command -v brew),$(shell brew --prefix)/opt/llvm/bin:)$(PATH)
fuzz: SECONDS ?= 30
fuzz:
	@scripts/install-packages.sh build fuzz
	@cmake --preset fuzz >/dev/null
	@cmake --build --preset fuzz
	@scripts/fuzz.py build/fuzz $(if $(RUNS),--runs $(RUNS),--seconds $(SECONDS)) $(TARGETS)

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

lint: build
	@scripts/install-packages.sh lint
	@scripts/lint.sh $(BUILD)

format:
	@scripts/install-packages.sh lint
	@git ls-files '*.cpp' '*.hpp' | xargs clang-format -i

# Copied beside its place and moved there: agents run it at any moment.
install: packages $(BUILD)/build.ninja
	@cmake --build --preset $(PRESET) --target tavrin-hook
	@mkdir -p "$(BIN)"
	@install -m 755 $(HOOK) "$(BIN)/.tavrin-hook.new"
	@mv -f "$(BIN)/.tavrin-hook.new" "$(BIN)/tavrin-hook"
	@echo "Installed $(BIN)/tavrin-hook"

clean:
	@rm -rf build
