# The entry points. Everything real is in CMakeLists.txt; this file installs what is missing and calls it.

jobs := $(shell nproc)
rooms := $(shell sed -n 's/^\([a-z/]*\) .*/\1/p' rooms.txt)
space := $(subst ,, )

.PHONY: all demo test bench format tidy setup build sanitized target test-target test-sanitized fuzz clean

all: build

setup:
	@tools/setup.sh

build: setup
	@cmake --preset release
	@cmake --build build -j$(jobs)

sanitized: setup
	@cmake --preset sanitized
	@cmake --build build-sanitized -j$(jobs)

demo: build
	@tools/demo.sh build

test: build sanitized
	@tools/run_tests.sh build build-sanitized --targets mips-linux-musl arm-linux-musleabihf

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

fuzz: setup
	@tools/fuzz.sh $(SECONDS) $(FUZZ)

# The whole suite under AddressSanitizer (leaks too) and UndefinedBehaviorSanitizer.
test-sanitized: sanitized
	@tools/run_tests.sh build-sanitized

# Without the npm registry the routers' processors have no rows.
bench: build
	@tools/build_target.sh mips-linux-musl arm-linux-musleabihf || [ $$? = 3 ]
	@bench/run.py build

format: setup
	@git ls-files '*.cpp' '*.h' '*.c' | xargs clang-format -i

tidy: build
	@for room in $(rooms); do git ls-files ":(glob)$$room/*.cpp"; done \
		| xargs clang-tidy -p build --quiet --header-filter='/($(subst $(space),|,$(rooms)))/[a-z_]*\.h$$'

clean:
	rm -rf build build-debug build-sanitized build-fuzz build-target/*
