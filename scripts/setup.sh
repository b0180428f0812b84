#!/usr/bin/env bash
# Installs the Debian packages the build needs, if any is missing. CBC's
# library (coinor-libcbc-dev) gives the MIP backend, glpsol (glpk-utils) the
# checks of the LP and MPS files.
set -euo pipefail

packages=(g++ cmake ninja-build binutils libboost-dev libgtest-dev libgmock-dev
          libbenchmark-dev nlohmann-json3-dev libcli11-dev
          coinor-libcbc-dev glpk-utils
          pybind11-dev python3-dev python3-numpy python3-pytest)
missing=()
for p in "${packages[@]}"; do
  dpkg -s "$p" >/dev/null 2>&1 || missing+=("$p")
done
if [ ${#missing[@]} -gt 0 ]; then
  sudo_cmd=""
  if [ "$(id -u)" -ne 0 ]; then sudo_cmd="sudo"; fi
  echo "installing: ${missing[*]}"
  $sudo_cmd apt-get update
  DEBIAN_FRONTEND=noninteractive $sudo_cmd apt-get install -y --no-install-recommends "${missing[@]}"
fi
