#!/usr/bin/env bats
# A small tree with one page on behaviour and one transcript, which something is done to.

bats_require_minimum_version 1.5.0

setup() {
  cd "$BATS_TEST_TMPDIR"
  mkdir -p scripts docs/behaviour tests/transcripts/entry
  cp "$BATS_TEST_DIRNAME/../../scripts/check-docs" scripts/
  echo 'See [the job](docs/behaviour.md#what-the-job-does) and [a site](https://example.org/none).' >README.md
  printf '# What the job does\n\n[Entry](behaviour/entry.md)\n' >docs/behaviour.md
  printf '# Entry\n\nIt ends ([proof][an_end]).\n\n[an_end]: %s\n' \
    ../../tests/transcripts/entry/an_end.transcript >docs/behaviour/entry.md
  echo 'run vormain' >tests/transcripts/entry/an_end.transcript
  git init -q .
  git add .
}

# Runs the check, which has to fail with `complaint` alone.
complains() { # COMPLAINT
  run -1 scripts/check-docs
  [[ $output == "$1" ]] || { echo "$output"; false; }
}

@test "a tree whose links all lead somewhere passes in silence" {
  run -0 scripts/check-docs
  [[ -z $output ]]
}

@test "a link to a file that is not there is found" {
  echo 'And [more](docs/none.md).' >>README.md
  complains 'README.md: docs/none.md leads to nothing that is tracked'
}

@test "a link to a file that is not tracked is found" {
  echo 'And [more](notes.txt).' >>README.md
  touch notes.txt
  complains 'README.md: notes.txt leads to nothing that is tracked'
}

@test "a link to a tracked file that was removed is found" {
  echo 'And [more](notes.txt).' >>README.md
  touch notes.txt
  git add notes.txt
  rm notes.txt
  complains 'README.md: notes.txt leads to nothing that is tracked'
}

@test "a link to a heading that is not there is found" {
  echo 'And [more](docs/behaviour.md#none).' >>README.md
  complains 'README.md: docs/behaviour.md#none leads to no heading'
}

@test "a folder of tracked files can be linked, and what stands in code is no link" {
  echo 'The [pages](docs/behaviour), `[x](none)`.' >>README.md
  printf '\n    [indented](none)\n' >>README.md
  run -0 scripts/check-docs
}

@test "a transcript that no page links to is found before it is added" {
  touch tests/transcripts/entry/a_start.transcript
  complains 'tests/transcripts/entry/a_start.transcript: no page in docs/behaviour/ links to it'
}

@test "a link from another page is not enough for a transcript" {
  touch tests/transcripts/entry/a_start.transcript
  git add .
  echo 'And [more](tests/transcripts/entry/a_start.transcript).' >>README.md
  complains 'tests/transcripts/entry/a_start.transcript: no page in docs/behaviour/ links to it'
}

@test "a reference that is not defined, or not used, is found" {
  sed -i 's/an_end]:/another]:/' docs/behaviour/entry.md
  complains "docs/behaviour/entry.md: the reference [an_end] is not defined
docs/behaviour/entry.md: the reference [another] is not used
tests/transcripts/entry/an_end.transcript: no page in docs/behaviour/ links to it"
}

@test "a page on behaviour that the index does not link is found" {
  echo '# More' >docs/behaviour/more.md
  git add .
  complains 'docs/behaviour/more.md: docs/behaviour.md does not link to it'
}
