# The two commands of the README. Everything else is CMake's: see CMakePresets.json.
.PHONY: run test build packages clean

BUILD := build

# Builds the default Image file from its sources and boots it without a window.
run: build
	$(BUILD)/kalvex --host headless

test: build
	tools/test $(BUILD)

build: packages
	cmake --preset release
	cmake --build $(BUILD)

packages:
	tools/install-packages

clean:
	rm -rf build build-*
