# The project's front door. `make run` and `make test` do the whole set-up on a fresh Debian 12.
BUILD_DIR      ?= build
ASAN_BUILD_DIR ?= build-asan
BENCH_BUILD_DIR ?= build-bench
JOBS           ?= $(shell nproc)
CMAKE_FLAGS    ?=

# What `make run` needs: the two programs (their targets build the modules they load).
PROGRAMS       := docview-app docview-batch

.PHONY: all deps configure build programs run test sanitize bench format check-format check-docs clean

all: build

deps:
	@scripts/install-deps

$(BUILD_DIR)/build.ninja:
	cmake -S . -B $(BUILD_DIR) -G Ninja $(CMAKE_FLAGS)

configure: deps $(BUILD_DIR)/build.ninja

build: configure
	cmake --build $(BUILD_DIR) -j $(JOBS)

programs: configure
	cmake --build $(BUILD_DIR) -j $(JOBS) --target $(PROGRAMS)

run: programs
	@scripts/run-app $(BUILD_DIR)

test: build
	cd $(BUILD_DIR) && ctest --output-on-failure -j $(JOBS)

sanitize: deps
	cmake -S . -B $(ASAN_BUILD_DIR) -G Ninja -DDOCVIEW_SANITIZE=ON $(CMAKE_FLAGS)
	cmake --build $(ASAN_BUILD_DIR) -j $(JOBS)
	cd $(ASAN_BUILD_DIR) && ctest --output-on-failure -j $(JOBS)

bench: deps
	cmake -S . -B $(BENCH_BUILD_DIR) -G Ninja -DCMAKE_BUILD_TYPE=Release \
	      -DDOCVIEW_BUILD_TESTS=OFF -DDOCVIEW_BUILD_BENCH=ON $(CMAKE_FLAGS)
	cmake --build $(BENCH_BUILD_DIR) -j $(JOBS)
	@for bench in $(BENCH_BUILD_DIR)/bin/bench_*; do echo "== $$bench"; $$bench || exit 1; done

format:
	clang-format -i $$(git ls-files '*.h' '*.cpp')

check-format:
	clang-format --dry-run -Werror $$(git ls-files '*.h' '*.cpp')

check-docs:
	@scripts/check-doc-references

clean:
	rm -rf $(BUILD_DIR) $(ASAN_BUILD_DIR) $(BENCH_BUILD_DIR)
