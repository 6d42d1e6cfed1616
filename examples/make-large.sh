#!/usr/bin/env bash
# Generates a large CSV file of invented measurements: make-large.sh [RECORDS [FILE]], by default a million records in
# build/examples/measurements.csv. The same number of records always gives the same bytes.
set -euo pipefail

records=${1:-1000000}
file=${2:-"$(dirname "$0")/../build/examples/measurements.csv"}

mkdir -p "$(dirname "$file")"
awk -v records="$records" 'BEGIN {
    split("north,south,east,west,harbour,summit,valley,bridge", places, ",")
    split("ok,ok,ok,ok,ok,late", notes, ",")
    notes[7] = "\"check, then repeat\""; notes[8] = "\"reads \"\"--\"\"\""
    print "number,station,day,temperature,pressure,wind,note"
    seed = 42
    for (i = 1; i <= records; i++) {
        # A linear congruential generator, small enough to be exact in floating point.
        seed = (seed * 16807) % 2147483647
        printf "%d,%s-%02d,%04d-%02d-%02d,%.1f,%.1f,%.1f,%s\n", i, places[seed % 8 + 1], seed % 37, 1990 + i % 34,
            seed % 12 + 1, seed % 28 + 1, seed % 550 / 10 - 20, 950 + seed % 1000 / 10, seed % 300 / 10,
            notes[int(seed / 64) % 8 + 1]
    }
}' > "$file"
echo "$file: $records records, $(wc -c < "$file") bytes"
