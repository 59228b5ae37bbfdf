#!/usr/bin/env bash
# Checks the spelling, which is American, of names, comments, texts and documents.
#
#   scripts/spelling.sh [FILE...]   some files, or all of them
set -euo pipefail
# shellcheck source=scripts/lib.sh
source "$(dirname "${BASH_SOURCE[0]}")/lib.sh"
cd "$repo"

# Words that the dictionaries take for misspelled ones.
right=(
  responce          # in the program's own messages (docs/compatibility.md, 40)
  countr            # std::countr_zero
  fro               # to and fro
  alog              # a file's name in a test
  nd                # "2nd"; also a "d" after the escape "\n"
  documen fo        # cut keywords and Base64 in tests
  seh               # a debug channel of Wine
  keypair           # a function of libsodium
  tekst             # a simulated command's name, in Polish
)

files=("$@")
if [ $# = 0 ]; then
  mapfile -t files < <(git ls-files --cached --others --exclude-standard -- . \
    ':!tests/fuzz/corpus' ':!tests/collector/fuzz/corpus' ':!scripts/spelling.txt' \
    ':!samples/language/texts.txt' ':!*.png' ':!*.ico' ':!*/package-lock.json')
fi
# The expression cuts CamelCase and snake_case names into their words.
codespell --builtin clear,rare,en-GB_to_en-US --dictionary - --dictionary scripts/spelling.txt \
  --regex '[A-Z]?[a-z]+' --ignore-words-list "$(IFS=,; echo "${right[*]}")" -- "${files[@]}"
