# The entry points. Everything real is in CMakeLists.txt; this file installs what is missing and calls it.

jobs := $(shell nproc)
rooms := $(shell sed -n 's/^\([a-z/]*\) .*/\1/p' rooms.txt)
space := $(subst ,, )

.PHONY: all setup build demo page screenshots check test test-all test-kernel test-sanitized sanitized target test-target fuzz bench format tidy dist clean

all: build

# Installs every Debian package that any of these needs. Only demo, test and test-all install some of them by themselves.
setup:
	@tools/setup.sh build test targets fleet lint fuzz kernel

build:
	@tools/setup.sh -n build
	@cmake --preset release
	@cmake --build build -j$(jobs)

demo:
	@tools/setup.sh build
	@echo "Building the program, its library and the simulated router"
	@cmake --preset release >/dev/null
	@cmake --build build -j$(jobs) --target simrouter modemapi modemctl router_data
	@tools/demo.sh build
	@echo
	@echo "In a browser: make page"

# The page for the web interface, for a simulated router.
page:
	@tools/setup.sh build page
	@cmake --preset release >/dev/null
	@cmake --build build -j$(jobs) --target simrouter modemctl router_data >build/page.log || { tail -n 20 build/page.log; exit 1; }
	@exec node tests/web/router.mjs build

# Pictures of each view, by the tests, in build/screenshots.
screenshots:
	@tools/setup.sh build browser
	@cmake --preset release >/dev/null
	@cmake --build build -j$(jobs) --target simrouter modemctl router_data
	@for test in overview views shown; do SCREENSHOTS=build/screenshots tests/web/run.sh tests/web/$${test}_test.mjs build; done

# The loop of every day: make check, or one suite of it: make check T='Cells*'
check:
	@tools/setup.sh -n build test
	@cmake --preset release >/dev/null
	@cmake --build build -j$(jobs) --target tests
	@tools/run_tests.sh -l quick -s '$(T)' build

test:
	@tools/setup.sh build test
	@cmake --preset release
	@cmake --build build -j$(jobs) --target tests
	@tools/run_tests.sh -l 'quick|test' -n 10 -c build/passed build

# What make test has passed is counted and not run again, unless a file has changed since.
test-all:
	@tools/setup.sh build test targets fleet
	@tools/setup.sh browser || echo "The tests in a browser will be skipped."
	@tools/setup.sh kernel || echo "The tests on a real kernel will be skipped."
	@[ -f build/passed ] && [ -z "$$(find . -mindepth 1 \( -name 'build*' -o -name .git \) -prune -o -newer build/passed -print -quit)" ] \
		|| $(MAKE) test
	@cmake --build build -j$(jobs)
	@cmake --preset sanitized
	@cmake --build build-sanitized -j$(jobs)
	@tools/run_tests.sh -a build/passed -l 'rest|kernel' -t 'mips-linux-musl arm-linux-musleabihf' build build-sanitized

# The program on Debian's kernel, whose drivers make the simulated modems' devices: a part of test-all.
test-kernel:
	@tools/setup.sh -n build test
	@tools/setup.sh kernel || echo "The tests on a real kernel will be skipped."
	@cmake --preset release >/dev/null
	@cmake --build build -j$(jobs) --target kernel_tests
	@tools/run_tests.sh -l kernel build

# The suite under AddressSanitizer (leaks too) and UndefinedBehaviorSanitizer: a part of test-all.
sanitized:
	@tools/setup.sh -n build test
	@cmake --preset sanitized
	@cmake --build build-sanitized -j$(jobs)

test-sanitized: sanitized
	@tools/run_tests.sh build-sanitized

# For a router's processor: make target TARGET=mips-linux-musl (mipsel-linux-musl, arm-linux-musleabihf, ...)
TARGET ?= mips-linux-musl

target:
	@tools/build_target.sh $(TARGET)

test-target: build
	@tools/build_target.sh --tests $(TARGET)
	@tools/test_target.sh $(TARGET) build

# make fuzz SECONDS=60 [FUZZ=replies]
SECONDS ?= 60
FUZZ ?=

fuzz:
	@tools/fuzz.sh $(SECONDS) $(FUZZ)

# Without the npm registry the routers' processors have no rows, without Debian's kernel ModemManager has none.
bench: build
	@tools/setup.sh kernel || true
	@tools/build_target.sh mips-linux-musl arm-linux-musleabihf || [ $$? = 3 ]
	@bench/run.py build

format:
	@tools/setup.sh -n lint
	@git ls-files '*.cpp' '*.h' '*.c' | xargs clang-format -i

# clang-tidy cannot read the headers that g++ has compiled.
tidy:
	@tools/setup.sh -n build lint
	@cmake --preset release -B build-tidy -DCMAKE_DISABLE_PRECOMPILE_HEADERS=ON >/dev/null
	@for room in $(rooms); do git ls-files ":(glob)$$room/*.cpp"; done \
		| xargs -P$(jobs) -n8 clang-tidy -p build-tidy --quiet --header-filter='/($(subst $(space),|,$(rooms)))/[a-z_]*\.h$$'

clean:
	rm -rf build build-debug build-sanitized build-fuzz build-target/*

# The release archive, and the Makefile for a feed that names it: the same bytes on every machine.
dist:
	@tools/dist.sh build/dist
