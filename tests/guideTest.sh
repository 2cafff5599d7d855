#!/usr/bin/env bash
# Checks that every status text and log line of the product begins a row of a table in docs/modem-guide.md, and that the
# alert rules and the dashboard ask for metrics that there are. Usage: guideTest.sh SOURCE-DIR
#
# Texts are the string literals of statements that make a status or a log line, and, wherever they stand, literals that
# read like a sentence: small letters and a blank. Values break a text into pieces, and each piece must be in the guide.
# Assertions do not count, nor does the prompt of assertions.
set -eu
cd "$1"

# Prints FILE:LINE, a tab and the piece for each piece of a text.
read -r -d '' extract <<'AWK' || true
function isReport() {
  return statement ~ /Status::[a-z][A-Za-z]*\(|log(Device|Verbose)\(|XDbg(Error|Warning|Info|InfoEx|Print)\(/ ||
         statement ~ /(systemFailure|reportSystemError)\(/
}
function hasWords(piece) {
  gsub(/\\./, "", piece)
  return piece ~ /[A-Za-z]/
}
function endStatement(   i, j, n, pieces) {
  for (i = 1; i <= count && statement !~ /static_assert|__assert_fail/; ++i) {
    gsub(/%([.*0-9]|ll?)*[a-z]/, "\1", literals[i])
    if (!isReport() && literals[i] !~ /[a-z].* |^ .*[a-z]/) continue
    gsub(/\\u00e4/, "ä", literals[i])
    gsub(/\\"/, "\"", literals[i])
    n = split(literals[i], pieces, "\1")
    for (j = 1; j <= n; ++j) if (hasWords(pieces[j])) print FILENAME ":" lines[i] "\t" pieces[j]
  }
  statement = ""
  count = 0
}
FNR == 1 { endStatement() }
/^ *#/ { next }
{
  rest = $0
  while (match(rest, /"([^"\\]|\\.)*"|'([^'\\]|\\.)'|\/\/.*|[;{}]/)) {
    token = substr(rest, RSTART, RLENGTH)
    statement = statement substr(rest, 1, RSTART - 1)
    rest = substr(rest, RSTART + RLENGTH)
    if (token ~ /^"/) {
      literals[++count] = substr(token, 2, length(token) - 2)
      lines[count] = FNR
    } else if (token ~ /^[;{}]/) {
      endStatement()
    }
  }
  statement = statement rest " "
}
END { endStatement() }
AWK

# The code spans in the first cells of the guide's tables, one a line.
spans=$(awk '/^\| `/ { sub(/` \|.*/, "`"); n = split($0, parts, "`"); for (i = 2; i <= n; i += 2) print parts[i] }' \
  docs/modem-guide.md)
texts=$(find common debug device document logging module plugin serial \( -name '*.cpp' -o -name '*.h' \) ! -name prompt.cpp -print0 | sort -z |
  xargs -0 awk "$extract")
[[ -n $spans && -n $texts ]] || { echo "no texts or no tables found"; exit 1; }

# A word alone is a part of its own between colons. Other pieces begin and end with whole words; capitals in front of a
# small letter stand for a value in the guide.
pattern_of() {
  if [[ $1 =~ ^[A-Za-z]+$ ]]; then
    echo "(^|: )$1(:|\$)"
  else
    local left='' right=''
    [[ $1 != [[:upper:]]* ]] || left='(?<![A-Za-z])'
    [[ $1 != [[:lower:]]* ]] || left='(?<![a-z])'
    [[ $1 != *[[:alpha:]] ]] || right='(?![A-Za-z])'
    echo "$left\\Q$1\\E$right"
  fi
}

missing=0
while IFS=$'\t' read -r place text; do
  pattern=$(pattern_of "$text")
  grep -qP -- "$pattern" <<<"$spans" || {
    echo "$place: not in docs/modem-guide.md: \"$text\""
    missing=1
  }
done <<<"$texts"

# names [FILE...]: the metrics in it, without what a histogram adds to its name.
names() { grep -ohE '\bgsm_[a-z_]+' "$@" | sed -E 's/_(bucket|sum|count)$//' | sort -u; }
# differ TEXT LEFT RIGHT: complains of what LEFT holds and RIGHT does not.
differ() {
  local rest
  rest=$(comm -23 <(echo "$2") <(echo "$3"))
  [[ -z $rest ]] || { echo "$1:" $rest; missing=1; }
}
made=$(grep -ohE 'begin\("gsm_[a-z_]+"' gateway/http/metricsText.cpp | names)
shown=$(jq -r '.. | .expr? // empty' docs/dashboard.json | names)
differ "not in docs/dashboard.json" "$made" "$shown"
differ "not in docs/gateway.md" "$made" "$(names docs/gateway.md)"
differ "the dashboard asks for what there is not" "$shown" "$made"
differ "an alert rule asks for what there is not" "$(names docs/alerts.yml)" "$(printf "%s\n" "$made" gsm_gateway_online | sort)"
if command -v promtool >/dev/null; then # its package is large, so it is not asked for
  promtool check rules docs/alerts.yml && promtool test rules tests/alerts.yml || missing=1
fi
exit $missing
