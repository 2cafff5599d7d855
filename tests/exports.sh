#!/usr/bin/env bash
# What the module shows to its loader: exactly its four symbols, and no glog of its own. Usage: exports.sh MODULE
set -eu
exports=$(nm -D --defined-only "$1" | awk '{print $3}' | sort | tr '\n' ' ')
[[ $exports == "CreateGsmDevice DestroyGsmDevice PluginDisplayName PluginInit " ]] || {
  echo "exports: $exports"
  exit 1
}
needed=$(readelf -d "$1" | sed -n 's/.*NEEDED.*\[\(.*\)\]/\1/p')
for library in $needed; do
  case $library in
    libbson-1.0.so.* | libstdc++.so.* | libm.so.* | libgcc_s.so.* | libc.so.*) ;;
    *)
      echo "needs $library"
      exit 1
      ;;
  esac
done
