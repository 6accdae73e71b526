# Front door: `make demo` and `make test`. Both install what they need first.
BUILD := build
LINUX := $(BUILD)/linux
WINDOWS := $(BUILD)/windows
CMAKE_FLAGS := -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo

.PHONY: all build build-linux build-windows deps test test-linux test-windows demo bench clean

all: build

deps:
	@scripts/install-deps

build: build-linux build-windows

$(LINUX)/build.ninja: | deps
	@cmake -S . -B $(LINUX) $(CMAKE_FLAGS) >/dev/null

$(WINDOWS)/build.ninja: | deps
	@cmake -S . -B $(WINDOWS) $(CMAKE_FLAGS) \
	  -DCMAKE_TOOLCHAIN_FILE=$(CURDIR)/cmake/mingw-w64-x86_64.cmake >/dev/null

build-linux: deps $(LINUX)/build.ninja
	@cmake --build $(LINUX)

build-windows: deps $(WINDOWS)/build.ninja
	@cmake --build $(WINDOWS)

test: test-linux test-windows

test-linux: build-linux
	@echo "== Linux suite =="
	@cd $(LINUX) && ctest --output-on-failure

test-windows: build-windows
	@echo "== Windows suite (Wine) =="
	@cd $(WINDOWS) && ctest --output-on-failure

demo: build-linux
	@scripts/demo

bench: build-linux
	@echo "no benchmarks yet"

clean:
	rm -rf $(BUILD)
