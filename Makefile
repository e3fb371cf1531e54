# Front door for people: every target installs what it needs first (scripts/install-deps is quiet and quick
# when everything is there).
.PHONY: run test asan-test tsan-test tsan-ci build deps format bench fuzz fuzz-run clean deb

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

# The code with threads (the runtime, the HTTP client, the calendar store, capture, the library, the host)
# under ThreadSanitizer.
tsan-test: deps
	@cmake --preset tsan >/dev/null
	@$(CMAKE_BUILD) tsan
	@ctest --preset tsan

# The runtime, the HTTP client, the calendar files and the two-track capture under ThreadSanitizer: the part
# of tsan-test that CI runs. Left out: the library and host executables, which would take CI past its time.
# (The desktop calendar cases skip themselves under ThreadSanitizer, which cannot see GLib's locks.)
tsan-ci: deps
	@cmake --preset tsan >/dev/null
	@$(CMAKE_BUILD) tsan --target support_tests audioengine_tests platform_linux_tests
	@ctest --preset tsan -R '^(support_tests|audioengine_tests|platform_linux_tests)\.'

# The Debian package from the default build: only what it installs is built, then CPack (prefix /usr,
# stripped, dependencies from dpkg-shlibdeps) and lintian.
deb: deps
	@cmake --preset default >/dev/null
	@$(CMAKE_BUILD) default --target vellmora vellmora-mcp vellmora_manpage vellmora_changelog
	@cd build && cpack -G DEB >/dev/null
	@lintian --fail-on error build/vellmora_*.deb
	@ls build/vellmora_*.deb

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
	@rm -rf build build-asan build-tsan build-fuzz build-bench
