# The front door. It only prepares the machine and calls CMake's presets and CTest.
PRESET ?= release
JOBS ?= $(shell nproc)
# Empty: everything. CTest runs the tests whose names match ONLY.
TARGETS ?=
ONLY ?= .

.PHONY: run test desktops soak build bench lint format sanitize mac-check clean

# Only what the demonstration runs, and the packages for that.
run:
	@scripts/packages.sh run
	cmake --preset $(PRESET)
	cmake --build --preset $(PRESET) -j $(JOBS) --target tarnvale tarnvale-disktools
	scripts/demo.sh build/$(PRESET)

build:
	@scripts/packages.sh run build
	cmake --preset $(PRESET) -DTARNVALE_DESKTOP=ON -DTARNVALE_TESTS=ON
	cmake --build --preset $(PRESET) -j $(JOBS) $(addprefix --target ,$(TARGETS))

test: build
	@scripts/packages.sh test
	ctest --preset $(PRESET) -j $(JOBS) -R '$(ONLY)'

# Kills the program 5,000 times, see docs/kill-test.md. SOAK takes further options.
soak:
	$(MAKE) build TARGETS=tarnvale-soak
	build/$(PRESET)/bin/tarnvale-soak --kills 5000 $(SOAK)

# The tests of the desktop with a panel that people use, too.
desktops: build
	@scripts/packages.sh test desktops
	ctest --preset $(PRESET) -R '^desktop$$'

bench: build
	@scripts/packages.sh bench
	scripts/in-namespace.sh build/$(PRESET)/bin/tarnvale-bench bench/results.md

# The whole of the tests under the sanitizers.
sanitize:
	$(MAKE) test PRESET=asan
	$(MAKE) test PRESET=tsan

# Every source of the engine compiled for macOS.
mac-check:
	@scripts/packages.sh run mac
	scripts/mac-check.sh

# FILES, if given, are what clang-tidy looks at; formatting is checked of all.
lint:
	@scripts/packages.sh run build lint
	scripts/lint.sh $(FILES)

format:
	@scripts/packages.sh lint
	git ls-files '*.h' '*.cpp' | xargs clang-format -i

clean:
	rm -rf build
