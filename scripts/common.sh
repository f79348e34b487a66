# shellcheck shell=bash
# What the scripts share: each sources it first. They run in the project's folder, and stop at an error.
set -euo pipefail

# --help prints the comment at the head of the script.
if [[ " $* " == *" --help "* ]]; then
  sed -n '2,${/^#/!q;s/^# \{0,1\}//p}' "$0"
  exit
fi
cd "$(dirname "${BASH_SOURCE[0]}")/.."

# quietly SENTENCE COMMAND ...: prints the sentence, and what the command prints only when it fails.
quietly() {
  local output
  echo "$1" >&2
  output=$("${@:2}" 2>&1) || { echo "$output" >&2; exit 1; }
}
