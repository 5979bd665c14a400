# The front door. It only prepares the machine and calls CMake's presets and CTest.
PRESET ?= release
JOBS ?= $(shell nproc)

.PHONY: run test build bench lint format mac-check sanitize packages clean

run: build
	scripts/demo.sh build/$(PRESET)

test: build
	ctest --preset $(PRESET) -j $(JOBS) $(CTEST_ARGS)

build: packages
	cmake --preset $(PRESET)
	cmake --build --preset $(PRESET) -j $(JOBS)

bench: build
	scripts/in-namespace.sh build/$(PRESET)/bin/tarnvale-bench bench/results.md

# The engine's tests under the sanitizers.
sanitize: packages
	$(MAKE) test PRESET=asan
	$(MAKE) test PRESET=tsan

# Every source of the engine compiled for macOS.
mac-check: packages
	scripts/mac-check.sh

lint: build
	scripts/lint.sh build/$(PRESET)

format:
	git ls-files '*.h' '*.cpp' | xargs clang-format -i

packages:
	@scripts/packages.sh install

clean:
	rm -rf build
