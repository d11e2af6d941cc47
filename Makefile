# Quillo: the everyday commands. Each one installs what is missing first.
BUILD_DIR ?= build
CMAKE_FLAGS ?= -DCMAKE_BUILD_TYPE=RelWithDebInfo
JOBS ?= $(shell nproc)

.PHONY: all deps configure build run test bench install bundle format clean

all: build

deps:
	@scripts/install-deps

$(BUILD_DIR)/build.ninja:
	cmake -S . -B $(BUILD_DIR) -G Ninja $(CMAKE_FLAGS)

configure: deps $(BUILD_DIR)/build.ninja

build: configure
	cmake --build $(BUILD_DIR) -j $(JOBS)

run: build
	$(BUILD_DIR)/bin/quillo

test: build
	scripts/run-tests $(BUILD_DIR)

bench: build
	bench/run-all $(BUILD_DIR)

# PREFIX=/some/where installs there instead of CMake's default (/usr/local). The
# prefix is configured, not only given to the install step, because the D-Bus
# service files name the installed program by its full path.
install: configure
	$(if $(PREFIX),cmake -S . -B $(BUILD_DIR) -DCMAKE_INSTALL_PREFIX=$(PREFIX))
	cmake --build $(BUILD_DIR) -j $(JOBS)
	cmake --install $(BUILD_DIR)

# The release archive Quillo-VERSION-linux-x86_64.tar.gz from a Release build in
# build-release (QUILLO_SIGNING_KEY=key file also signs it; see scripts/make-bundle).
bundle: deps
	scripts/make-bundle

format:
	@git ls-files '*.cpp' '*.h' | xargs clang-format -i

clean:
	rm -rf $(BUILD_DIR)
