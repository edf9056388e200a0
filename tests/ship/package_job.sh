#!/usr/bin/env bash
# The main job, run by scripts/package where nothing but the installed packages is at hand.
set -euo pipefail
samples=/usr/share/keld/samples
job=$(mktemp -d)
cd "$job"
export KELD_CFG_PATH=$samples
keld version
keld init
keld load $samples/gearbox.json
keld status set 000100/B Frozen --structure
keld status show 000100/B | grep -q Frozen
keld checkout 000122/A --comment "new tooth profile"
if keld status set 000100/B Released --structure; then
    echo "The run should have been refused." >&2
    exit 1
fi
keld checkin 000122/A
keld status set 000100/B Released --structure >/dev/null
keld status show 000100/B | grep -q Released
keld check
grep -q -F 'Process(...)' keld.log
rm -rf "$job"
