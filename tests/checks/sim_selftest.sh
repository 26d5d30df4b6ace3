#!/usr/bin/env bash
# Self-test of the simulated CIM server: runs tests/e2e/test_sim.py, which
# starts the simulator, talks CIM-XML to it over HTTPS and validates replies
# against the CIM-XML DTD.  Usage: sim_selftest.sh SRC_DIR [BUILD_DIR]
set -euo pipefail

src=${1:?usage: sim_selftest.sh SRC_DIR [BUILD_DIR]}
dtd=${RBZ_CIM_DTD:-$src/tests/data/cim-dtd/DSP0203_2.3.1.dtd}

for tool in python3 openssl xmllint; do
    if ! command -v "$tool" >/dev/null; then
        echo "sim_selftest: $tool is required" >&2
        exit 1
    fi
done
if [[ ! -f $dtd ]]; then
    echo "sim_selftest: CIM-XML DTD not found: $dtd" >&2
    exit 1
fi

RBZ_CIM_DTD=$dtd PYTHONDONTWRITEBYTECODE=1 \
    timeout 120 python3 "$src/tests/e2e/test_sim.py"
