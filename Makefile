# Front door for people: every target installs what it needs first (scripts/install-deps is quiet and quick
# when everything is there).
.PHONY: run test asan-test build deps format bench fuzz fuzz-run clean

CMAKE_BUILD := cmake --build --preset

deps:
	@scripts/install-deps

build: deps
	@cmake --preset default >/dev/null
	@$(CMAKE_BUILD) default

# The main job on the embedded default: demo calendar, demo library, simulated capture; no account, no network.
run: build
	@./build/App/vellmora run --demo

# Every test.
test: build
	@ctest --preset default

# Every test again with AddressSanitizer and UndefinedBehaviorSanitizer.
asan-test: deps
	@cmake --preset asan >/dev/null
	@$(CMAKE_BUILD) asan
	@ctest --preset asan

format:
	@git ls-files '*.h' '*.cpp' | xargs clang-format-14 -i

bench: deps
	@cmake --preset bench >/dev/null
	@$(CMAKE_BUILD) bench
	@for b in build-bench/bench/*_bench; do [ -x "$$b" ] && "$$b"; done

# The libFuzzer targets, with only the code under test instrumented.
fuzz: deps
	@cmake --preset fuzz >/dev/null
	@$(CMAKE_BUILD) fuzz

# Every fuzz target for SECONDS each (make fuzz-run SECONDS=600 JOBS=2), one table, non-zero on a finding.
SECONDS ?= 60
JOBS ?= 1
fuzz-run: fuzz
	@scripts/fuzz-run -j $(JOBS) $(SECONDS)

clean:
	@rm -rf build build-asan build-fuzz build-bench
