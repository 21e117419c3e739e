# shellcheck shell=bash disable=SC2016,SC2154  # run_case sources this file
# The hook that formats what is committed.

skip_without git
export GIT_CONFIG_NOSYSTEM=1 GIT_CONFIG_GLOBAL=/dev/null
export GIT_AUTHOR_NAME=a GIT_AUTHOR_EMAIL=a@b GIT_COMMITTER_NAME=a GIT_COMMITTER_EMAIL=a@b
unset GIT_DIR GIT_WORK_TREE GIT_INDEX_FILE

git init -q "$work/tree"
cd "$work/tree" || exit
mkdir -p scripts
cp -r "$source_dir/scripts/git-hooks" scripts
cp "$source_dir/.clang-format" .
git config core.hooksPath scripts/git-hooks

ugly='int   f;'
neat='int f;'

StagedSourcesAreFormatted() {
    skip_without clang-format
    mkdir "a b"
    echo "$ugly" >"a b/x.cpp"
    echo "$ugly" >y.h
    git add "a b" y.h
    run git commit -qm first
    expect_equal "$status" 0
    expect_contains "$output" "pre-commit: formatted a b/x.cpp"
    expect_equal "$(git show "HEAD:a b/x.cpp")" "$neat"
    expect_equal "$(cat "a b/x.cpp" y.h)" "$neat
$neat"
    expect_equal "$(git status --porcelain -uno)" ""
}

ChangesOutsideTheIndexStay() {
    skip_without clang-format
    echo "$ugly" >x.cpp
    git add x.cpp
    echo 'int   g;' >>x.cpp
    git commit -qm first >/dev/null
    expect_equal "$(git show HEAD:x.cpp)" "$neat"
    expect_equal "$(cat x.cpp)" "$ugly
int   g;"
}

OtherFilesStay() {
    skip_without clang-format
    echo "$ugly" >notes.txt
    echo "$ugly" >unstaged.cpp
    git add notes.txt
    run git commit -qm first
    expect_equal "$status $output" "0 "
    expect_equal "$(git show HEAD:notes.txt)" "$ugly"
    expect_equal "$(cat unstaged.cpp)" "$ugly"
}

WithoutAFormatterTheCommitGoesOn() {
    local program
    mkdir -p "$work/bin"
    for program in bash env git cat; do ln -s "$(command -v $program)" "$work/bin/$program"; done
    echo "$ugly" >x.cpp
    git add x.cpp
    PATH=$work/bin run git commit -qm first
    expect_equal "$status" 0
    expect_contains "$output" "there is no clang-format"
    expect_equal "$(git show HEAD:x.cpp)" "$ugly"
}
