# shellcheck shell=bash disable=SC2016,SC2034,SC2154  # run_case sources this file
# scripts/test and .ci/run: which tools they start, how they end.

# A tree with the real scripts; every tool writes its call into the file "calls".
set_up() {
    tree=$work/tree
    mkdir -p "$tree/scripts" "$tree/.ci" "$tree/tests/utils" "$tree/tests/uploads"
    cp "$source_dir/scripts/test" "$tree/scripts"
    cp "$source_dir/.ci/run" "$tree/.ci"
    export CALLS=$work/calls
    : >"$CALLS"
    echo 'install_missing_packages() { echo "install $*" >>"$CALLS"; }' >"$tree/scripts/packages.sh"
    echo 'hcrpt_test(utils_tests)' >"$tree/tests/utils/CMakeLists.txt"
    echo 'hcrpt_test(uploads_tests LIBRARIES test_report_server)' >"$tree/tests/uploads/CMakeLists.txt"
    local tool
    for tool in lint fuzz; do
        printf '#!/bin/bash\necho "%s $*" >>"$CALLS"\n' $tool >"$tree/scripts/$tool"
        chmod +x "$tree/scripts/$tool"
    done
    for tool in cmake ctest; do stand_in $tool 'echo "'$tool' $*" >>"$CALLS"'; done
    stand_in nproc 'echo 2'
    stand_in valgrind ''
    stand_in python3 ''
}
set_up

release_calls='cmake --preset release
cmake --build --preset release -j 2
ctest --test-dir build/release -j 12 --output-on-failure --no-tests=error'
sanitizer_calls='cmake --preset asan-ubsan
cmake --build --preset asan-ubsan -j 2
ctest --test-dir build/asan-ubsan -j 12 --output-on-failure --no-tests=error -LE slow'

expect_calls() { expect_equal "$(cat "$CALLS")" "$1"; }

# The rows of the table, without their seconds.
table() { sed -n '/^part  /,$p' <<<"$output" | sed -n 's/  *[0-9]*$//p'; }

WithoutArgumentsTestsAReleaseBuild() {
    run "$tree/scripts/test"
    expect_equal "$status" 0
    expect_calls "install run server
$release_calls"
    expect_equal "$(table)" "release: build
release: tests
total"
    expect_contains "$output" "All passed."
}

AllRunsEveryStageAndPrintsATable() {
    run "$tree/scripts/test" --all
    expect_equal "$status" 0
    expect_calls "install run server lint check fuzz
lint 
$release_calls
$sanitizer_calls
fuzz --short"
    expect_equal "$(table)" "packages
lint
release: build
release: tests
sanitizers: build
sanitizers: tests
fuzz targets
total"
}

AllRunsTheNamedStagesOnly() {
    run "$tree/scripts/test" --all fuzz lint
    expect_equal "$status" 0
    expect_calls "install run server lint check fuzz
fuzz --short
lint "
}

CiRunsAllStages() {
    run "$tree/.ci/run"
    local of_ci
    of_ci=$(cat "$CALLS")
    : >"$CALLS"
    "$tree/scripts/test" --all >/dev/null
    expect_calls "$of_ci"
    expect_equal "$status" 0
}

AFailureEndsTheRunWithItsStatusAndTheTable() {
    stand_in ctest 'exit 8'
    run "$tree/scripts/test" --all
    expect_equal "$status" 8
    expect_equal "$(table)" "packages
lint
release: build
release: tests (failed)
total"
    [[ $output != *"All passed."* ]] || fail "says that all passed"

    # The first of two commands in a part, too.
    stand_in cmake '[ "$1" != --preset ]'
    run "$tree/scripts/test"
    expect_equal "$status" 1
    expect_equal "$(table)" "release: build (failed)
total"
}

OneFolderIsBuiltAndTestedAlone() {
    run "$tree/scripts/test" --only utils -R "Local Time"
    expect_equal "$status" 0
    expect_calls "install run
cmake --preset dev
cmake --build --preset dev -j 2 --target tests/utils/all
ctest --test-dir build/dev/tests/utils -j 12 --output-on-failure --no-tests=error -R Local Time"
}

AFolderOfUnitTestsNeedsNoServer() {
    "$tree/scripts/test" --only utils >/dev/null
    expect_equal "$(sed -n 1p "$CALLS")" "install run"
}

AFolderThatUploadsInstallsTheServer() {
    "$tree/scripts/test" --only uploads >/dev/null
    expect_equal "$(sed -n 1p "$CALLS")" "install run server"
}

APresetTakesCTestOptions() {
    run "$tree/scripts/test" --preset asan-ubsan -L unit
    expect_equal "$status" 0
    expect_calls "install run server
cmake --preset asan-ubsan
cmake --build --preset asan-ubsan -j 2
ctest --test-dir build/asan-ubsan -j 12 --output-on-failure --no-tests=error -L unit"
}

MissingToolsAreNamed() {
    run "$tree/scripts/test"
    [[ $output != *"Not run"* ]] || fail "names tools that are there"
    # Nothing but these programs can be found.
    local program
    for program in bash sed dirname grep; do ln -s "$(command -v $program)" "$work/bin/$program"; done
    rm "$work/bin/valgrind" "$work/bin/python3"
    PATH=$work/bin run "$tree/scripts/test"
    expect_equal "$status" 0
    expect_contains "$output" "Not run: instruction counts (label instructions); there is no valgrind."
    expect_contains "$output" "Not run: a short session (SoakTest); there is no python3."
}

WrongArgumentsAreRefused() {
    local arguments
    for arguments in "--alll" "--all nothing" "--only" "--only nothing" "--preset" "-L unit"; do
        # shellcheck disable=SC2086  # several words
        run "$tree/scripts/test" $arguments
        expect_equal "$arguments: $status" "$arguments: 2"
        expect_contains "$output" "test: "
    done
    expect_calls ""
}
