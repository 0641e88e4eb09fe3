#!/bin/bash
# Usage: cluster_test.sh COMMAND
# examples/cluster on two local worker processes, of which one is killed with a chunk half done: every file is
# there and right at the end, nothing else is, failures are told for each file, and a second run has
# nothing to do. Exit code 77: Dask is not installed.
set -euo pipefail
velajpeg=$(realpath "$1")
source=$(realpath "$(dirname "$0")/../../examples/cluster/encode_folder.py")
python3=/usr/bin/python3
"$python3" -c 'import distributed, tqdm' || exit 77
tmp=$(mktemp -d)
trap 'rm -rf "$tmp"' EXIT
cd "$tmp"
fail() { echo "FAIL $*" && exit 1; }

mkdir frames
for ((i = 0; i < 60; ++i)); do
    head -c 3072 /dev/urandom >"frames/f$i.rgb" # 32 x 32
done
head -c 3000 /dev/urandom >frames/short.rgb
head -c 3072 /dev/urandom >frames/deadly.rgb
raw=(--raw rgb24 --size 32x32 -q 60)

# The command as workers find it here: the first call does half of its files and kills its worker; any
# call with deadly.rgb dies.
cat >faulty <<EOF
#!/bin/bash
[[ "\$*" != *deadly.rgb* ]] || kill -SEGV \$\$
if mkdir killed 2>/dev/null; then
    "$velajpeg" "\${@:1:\$((\$# - 5))}" >/dev/null
    kill -KILL \$PPID
    exit
fi
exec "$velajpeg" "\$@"
EOF
chmod +x faulty
cluster=("$python3" "$source" frames jpegs --match '*.rgb' --workers 2 --chunk 10 --attempts 1)

code=0
"${cluster[@]}" --velajpeg "$PWD/faulty" --report report -- "${raw[@]}" >out 2>errors || code=$?
((code == 1)) || fail "exit code $code: $(cat errors)"
[[ -d killed ]] || fail "no worker was killed"
grep -qx '[0-9]* encoded, [0-9]* were there, 2 failed' out || fail "$(cat out)"
grep -q 'short.rgb: cannot read .*short.rgb: truncated' errors || fail "$(cat errors)"
grep -q 'deadly.rgb: velajpeg ended with -11' errors || fail "$(cat errors)"
(($(wc -l <report) == 62)) || fail "$(wc -l <report) lines in the report"
"$velajpeg" frames/f*.rgb --out-dir expected "${raw[@]}" --quiet
diff -r expected jpegs || fail "the files differ"

code=0
"${cluster[@]}" --velajpeg "$velajpeg" -- "${raw[@]}" >out 2>/dev/null || code=$?
[[ $code == 1 && $(cat out) == "1 encoded, 60 were there, 1 failed" ]] || fail "second run: $code $(cat out)"

# Wrong options end the run at once, and so do two files for one name.
! "${cluster[@]}" --velajpeg "$velajpeg" -- --quality 101 2>errors || fail "quality 101 accepted"
grep -q 'encode_folder.py: velajpeg: .*quality' errors || fail "$(cat errors)"
cp frames/f0.rgb frames/f0.x.rgb && cp frames/f0.rgb frames/f0.bgr
! "$python3" "$source" frames jpegs --match 'f0*' 2>errors || fail "two files for f0.jpg accepted"
grep -q 'f0.bgr and frames/f0.rgb would both become f0.jpg' errors || fail "$(cat errors)"
