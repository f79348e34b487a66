# shellcheck shell=bash
# The common start of all scripts: changes to the project's folder and stops the script at the first error.
set -euo pipefail

# --help prints the comment at the head of the script.
if [[ " $* " == *" --help "* ]]; then
  sed -n '2,${/^#/!q;s/^# \{0,1\}//p}' "$0"
  exit
fi
cd "$(dirname "${BASH_SOURCE[0]}")/.."

# quietly SENTENCE COMMAND ...: prints the sentence and runs the command. When the command fails, prints
# its output and ends the script.
quietly() {
  local output
  echo "$1" >&2
  output=$("${@:2}" 2>&1) || { echo "$output" >&2; exit 1; }
}
