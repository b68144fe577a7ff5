# Shared by the scripts of this folder; sourced, not run. Leaves the caller in the project's folder.
# shellcheck shell=bash disable=SC2034  # Used by those who source it.

cd "$(dirname "${BASH_SOURCE[0]}")/.." || exit
jobs=$(nproc)

# The folders that hold C++ of ours, and those of them that make up the product.
product_folders=(foundation audio devices recorder ui app platform tools)
source_folders=("${product_folders[@]}" tests fuzz bench)

die() {
  printf '%s: %s\n' "$(basename "$0")" "$*" >&2
  exit 1
}

# sources FOLDER...: every C++ file in those folders that exist, NUL-separated.
sources() {
  local folder folders=()
  for folder in "$@"; do
    if [[ -d $folder ]]; then folders+=("$folder"); fi
  done
  find "${folders[@]}" -type f \( -name '*.cpp' -o -name '*.h' \) -print0 | sort -z
}

# configure PRESET: the benchmarks join the release tree once their packages are there.
configure() {
  local options=()
  if [[ $1 == release ]]; then
    if scripts/install-packages --check bench; then options+=(-DKIV_BENCH=ON); else options+=(-DKIV_BENCH=OFF); fi
  fi
  cmake --preset "$1" "${options[@]}" --log-level=WARNING
}

# with_limited_randomization COMMAND...: the sanitizer runtimes of Debian 12 cannot place their shadow memory on
# kernels that randomise addresses by more than 28 bits, and then fail at random; there they run without.
with_limited_randomization() {
  local bits
  bits=$(cat /proc/sys/vm/mmap_rnd_bits 2>/dev/null || echo 0)
  if ((bits > 28)) && setarch "$(uname -m)" --addr-no-randomize true 2>/dev/null; then
    setarch "$(uname -m)" --addr-no-randomize "$@"
  else
    "$@"
  fi
}
