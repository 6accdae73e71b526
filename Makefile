# Front door: `make demo` and `make test`. Both install what they need first.
BUILD := build
LINUX := $(BUILD)/linux
WINDOWS := $(BUILD)/windows
CMAKE_FLAGS := -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo

.PHONY: all build build-linux build-windows deps test test-linux test-windows demo bench fuzz clean

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

# The Linux suite exchanges shortcut files with the Windows build under Wine.
test-linux: build-windows

demo: build-linux
	@scripts/demo

# Every benchmark program in build/linux/bench; BENCH=name runs one.
BENCH ?=
bench: build-linux
	@set -e; for b in $(LINUX)/bench/*_bench; do \
	  [ -x "$$b" ] || continue; \
	  case "$$b" in *$(BENCH)*) ;; *) continue ;; esac; \
	  echo "== $$(basename $$b)"; "$$b"; \
	done

# Each fuzz target (fuzz/NAME_fuzz.cpp) runs for FUZZ_SECONDS on a corpus kept
# in build/fuzz, starting from the seeds the project's writers make (and a
# MinGW-built program for pe_resources) and from fuzz/NAME.dict where there is
# one; FUZZ_TARGETS="name ..." runs some of them. Each prints its final
# coverage; a crash, a leak or undefined behaviour stops the run.
FUZZ_SECONDS ?= 30
FUZZ_TARGETS ?= $(patsubst fuzz/%_fuzz.cpp,%,$(wildcard fuzz/*_fuzz.cpp))
FUZZ_SEEDS := $(BUILD)/fuzz/seeds
fuzz: deps
	@CC=clang CXX=clang++ cmake -S . -B $(BUILD)/fuzz $(CMAKE_FLAGS) -DKESTREL_FUZZ=ON -DBUILD_TESTING=OFF >/dev/null
	@cmake --build $(BUILD)/fuzz --target write_fuzz_seeds $(addsuffix _fuzz,$(FUZZ_TARGETS))
	@rm -rf $(FUZZ_SEEDS) && $(BUILD)/fuzz/fuzz/write_fuzz_seeds $(FUZZ_SEEDS)
	@x86_64-w64-mingw32-windres -I $(FUZZ_SEEDS)/src fuzz/seeds/program.rc -O coff -o $(FUZZ_SEEDS)/src/program.o
	@x86_64-w64-mingw32-gcc -s -nostdlib -e start fuzz/seeds/program.c $(FUZZ_SEEDS)/src/program.o \
	  -o $(FUZZ_SEEDS)/pe_resources/mingw.exe
	@for t in $(FUZZ_TARGETS); do \
	  mkdir -p $(BUILD)/fuzz/corpus/$$t; \
	  seeds=; [ -d $(FUZZ_SEEDS)/$$t ] && seeds=$(FUZZ_SEEDS)/$$t; \
	  dict=; [ -f fuzz/$$t.dict ] && dict=-dict=fuzz/$$t.dict; \
	  echo "== $$t ($(FUZZ_SECONDS) s)"; \
	  $(BUILD)/fuzz/fuzz/$${t}_fuzz -max_total_time=$(FUZZ_SECONDS) $$dict $(BUILD)/fuzz/corpus/$$t $$seeds \
	    >$(BUILD)/fuzz/$$t.log 2>&1 || { tail -n 40 $(BUILD)/fuzz/$$t.log; exit 1; }; \
	  grep -E '^#[0-9]+.*cov: ' $(BUILD)/fuzz/$$t.log | tail -n 1; \
	done

clean:
	rm -rf $(BUILD)
