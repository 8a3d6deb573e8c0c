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

# norvane_<version>_<arch>.deb in $(BUILD_DIR): only what the package holds is built.
.PHONY: package package-test
package: deps $(BUILD_DIR)/build.ninja
	cmake --build $(BUILD_DIR) -j $(JOBS) --target norvane norvane-redact norvane-data norvane-changelog
	cd $(BUILD_DIR) && cpack -G DEB

# Installs that package on this machine, runs what it installed, and removes it (needs root).
package-test: package
	tests/package/run $$(ls -t $(BUILD_DIR)/norvane_*.deb | head -n1)

clean:
	rm -rf build

# Pictures of every screen (light and dark) for the docs, rendered offscreen.
.PHONY: screenshots
screenshots: build
	QT_QPA_PLATFORM=offscreen $(BUILD_DIR)/app/norvane-screenshots docs/screenshots

# Every benchmark, one after the other; each prints its peer's figures from the same run.
.PHONY: bench
bench: bench-ocr bench-export bench-canvas bench-redact bench-app bench-inspect

# OCR search and verification per page against pdftoppm + the tesseract command (bench/ocr.sh).
.PHONY: bench-ocr
bench-ocr: build
	bench/ocr.sh $(BUILD_DIR)

# Verification of a secure copy per page against pdftoppm + the tesseract command on its pages.
.PHONY: bench-verify
bench-verify: build
	ONLY=verify bench/ocr.sh $(BUILD_DIR)

# Secure export against Ghostscript's pdfimage24 device, same run (not part of `make test`).
.PHONY: bench-export
bench-export: build
	bench/export.sh $(BUILD_DIR)

# Page canvas: first page of a 500-page document, scrolling, memory (bench/canvas.sh).
.PHONY: bench-canvas
bench-canvas: build
	bench/canvas.sh $(BUILD_DIR)

# Redact All over 20,000 hits: model, pending list and canvas against a plain append loop.
.PHONY: bench-redact
bench-redact: build
	bench/redact_all.sh $(BUILD_DIR)

# The app (the real window, offscreen) against norvane-redact for the same OCR search and export.
.PHONY: bench-app
bench-app: build
	bench/app.sh $(BUILD_DIR) $(ARGS)

# Inspecting a 36-page manual against rendering it once at 72 dpi with pdftoppm (bench/inspect.sh).
.PHONY: bench-inspect
bench-inspect: build
	bench/inspect.sh $(BUILD_DIR)

# The engine fuzzer (clang, libFuzzer, ASan + UBSan) for FUZZ_SECONDS, from the factory's
# seeds plus every input kept in tests/fuzz-crashes; new crash inputs land in build/fuzz-artifacts.
FUZZ_SECONDS ?= 600
.PHONY: fuzz
fuzz: build
	$(BUILD_DIR)/tests/norvane-fuzz-seeds build/fuzz-seeds
	cmake --preset fuzz
	cmake --build build/fuzz -j $(JOBS)
	mkdir -p build/fuzz-corpus build/fuzz-artifacts
	build/fuzz/fuzz/engine_fuzz -max_total_time=$(FUZZ_SECONDS) -timeout=30 -rss_limit_mb=12288 -max_len=65536 \
		-dict=fuzz/pdf.dict -print_final_stats=1 -artifact_prefix=build/fuzz-artifacts/ \
		build/fuzz-corpus build/fuzz-seeds tests/fuzz-crashes
