#!/usr/bin/env bash
# What the optimised module must be as a file. Usage: binary.sh MODULE "COMPILER AND ITS OPTIONS" STRIP
set -u
module=$1
read -ra compiler <<<"$2"
strip=$3
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
bad=0
check() { # check WHAT COMMAND...
  local what=$1
  shift
  "$@" || { echo "FAILED: $what"; bad=1; }
}
shows() { grep -qE -- "$2" <<<"$1"; }
lacks() { ! shows "$@"; }

header=$(readelf -hW "$module")
segments=$(readelf -lW "$module")
dynamic=$(readelf -dW "$module")
undefined=$(nm -D --undefined-only "$module" | sed 's/@.*//')
needed=$(sed -n 's/.*NEEDED.*\[\(.*\)\]/\1/p' <<<"$dynamic")

exports=$(nm -D --defined-only "$module" | awk '{print $3}' | sort | tr '\n' ' ')
check "exports: $exports" test "$exports" = "CreateGsmDevice DestroyGsmDevice PluginDisplayName PluginInit "
check "RELRO" shows "$segments" 'GNU_RELRO'
check "no executable stack" shows "$segments" 'GNU_STACK.* RW '
check "BIND_NOW" shows "$dynamic" 'BIND_NOW'
check "no text relocations" lacks "$dynamic" 'TEXTREL'
check "stack protector" shows "$undefined" '__stack_chk_fail'
check "fortified calls" shows "$undefined" '_chk$'

allowed='^(libbson-1\.0\.so\.0|libstdc\+\+\.so\.6|libm\.so\.6|libgcc_s\.so\.1|libc\.so\.6)$'
if shows "$header" 'Machine: +ARM'; then
  # The stack protector's guard word lives in the loader, which is part of libc.
  allowed="$allowed|^ld-linux-armhf\.so\.3\$"
  attributes=$(readelf -A "$module")
  check "ELF32" shows "$header" 'Class: +ELF32'
  check "EABI5" shows "$header" 'Version5 EABI'
  check "hard-float arguments" shows "$attributes" 'Tag_ABI_VFP_args: VFP registers'
  "$strip" -o "$folder/stripped" "$module"
  size=$(stat -c %s "$folder/stripped")
  check "stripped size $size, at most 163840" test "$size" -le 163840
fi
check "needed: ${needed//$'\n'/ }" lacks "$(grep -vE "$allowed" <<<"$needed")" .

# Everything else that is wanted is there in those libraries, in glog, or is the host's RegisterDevice.
for library in $needed libglog.so; do
  nm -D --defined-only "$("${compiler[@]}" -print-file-name="$library")" | awk '{print $3}' | sed 's/@.*//'
done >"$folder/offered"
echo RegisterDevice >>"$folder/offered"
missing=$(awk '$1 == "U" {print $2}' <<<"$undefined" | sort -u | comm -23 - <(sort -u "$folder/offered"))
check "nobody offers: ${missing//$'\n'/ }" test -z "$missing"
exit $bad
