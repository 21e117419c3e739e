# shellcheck shell=bash disable=SC2016,SC2154  # run_case sources this file
# scripts/lint notices what each of its tools looks for.

mkdir -p "$work/tree/scripts"
cp "$source_dir/scripts/lint" "$work/tree/scripts"
cp "$source_dir/.clang-format" "$work/tree"
echo 'install_missing_packages() { :; }' >"$work/tree/scripts/packages.sh"
cd "$work/tree" || exit

AShellMistakeIsFound() {
    skip_without shellcheck
    printf '#!/bin/sh\nrm $1\n' >bad.sh
    printf '#!/bin/sh\nrm "$1"\n' >good.sh
    run scripts/lint good.sh bad.sh
    expect_equal "$status" 1
    expect_contains "$output" "SC2086"
    run scripts/lint good.sh
    expect_equal "$status" 0
}

APythonMistakeIsFound() {
    skip_without pyflakes3
    printf 'import os\n' >bad.py
    printf 'import os\nprint(os.name)\n' >good.py
    run scripts/lint bad.py good.py
    expect_equal "$status" 1
    expect_contains "$output" "imported but unused"
    run scripts/lint good.py
    expect_equal "$status" 0
}

UnformattedSourcesAreFound() {
    skip_without clang-format
    printf 'int   x;\n' >bad.h
    printf 'int x;\n' >good.h
    run scripts/lint bad.h
    expect_equal "$status" 1
    run scripts/lint good.h
    expect_equal "$status" 0
}

ProgramsAreKnownByTheirFirstLine() {
    skip_without shellcheck pyflakes3
    printf '#!/usr/bin/env bash\nrm $1\n' >shell
    printf '#!/usr/bin/env python3\nimport os\n' >python
    printf 'rm $1\n' >neither
    run scripts/lint shell python neither
    expect_equal "$status" 1
    expect_contains "$output" "shellcheck: 1 files"
    expect_contains "$output" "pyflakes: 1 files"
    expect_contains "$output" "SC2086"
    expect_contains "$output" "imported but unused"
}
