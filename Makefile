# Everything a fresh machine needs: `make run` starts the app, `make test` runs the tests.
PRESET ?= default
BUILD_DIR := build/$(PRESET)
JOBS ?= $(shell nproc)

.PHONY: all deps configure build run test sanitize cli clean

all: build

deps:
	@scripts/install-deps

$(BUILD_DIR)/build.ninja: CMakeLists.txt CMakePresets.json | deps
	cmake --preset $(PRESET)

configure: deps
	cmake --preset $(PRESET)

build: deps $(BUILD_DIR)/build.ninja
	cmake --build $(BUILD_DIR) -j $(JOBS)

run: build
	$(BUILD_DIR)/app/norvane $(ARGS)

test: build
	cd $(BUILD_DIR) && ctest --output-on-failure -j $(JOBS)

sanitize:
	$(MAKE) test PRESET=sanitize

clean:
	rm -rf build
