#!/bin/bash
# Usage: pages.sh
# Holds the pages against the tree: every relative link leads to a file, every path in backticks exists,
# every piece of C or C++ that a page shows stands so in an example, every picture is made of its text, and every
# test that SECURITY.md names is there.
set -euo pipefail
cd "$(dirname "$0")/../.."

wrong=0
for page in *.md docs/*.md examples/*/*.md python/*.md gstreamer/*.md; do
    perl -0777 -ne '
        use File::Basename;
        my ($page, $wrong) = ($ARGV, 0);
        my $folder = dirname($page);
        sub complain { print "$page: @_\n"; $wrong = 1 }

        my @examples = map { local (@ARGV, $/) = $_; scalar <> } glob("examples/*.c examples/*.h examples/*.cpp");
        for my $code (/^```(?:c|cpp)\n(.*?)^```$/gms) {
            complain("no example has\n$code") unless grep { index($_, $code) >= 0 } @examples;
        }
        s/^```.*?^```$//gms;

        for my $link (/\]\(([^)#\s]+)[^)]*\)/g) {
            next if $link =~ m{^[a-z]+:};
            complain("no file at the link $link") unless -e "$folder/$link";
        }
        # Paths begin with a folder of the tree; what a build or a run leaves is not looked for.
        for my $path (m{`([A-Za-z0-9_.-]+/[A-Za-z0-9_./-]*)`}g) {
            my ($first) = $path =~ m{^([^/]+)};
            next if $first eq "build" || !-d $first && !-d "$folder/$first";
            complain("no such path: $path") unless -e $path || -e "$folder/$path";
        }
        exit $wrong;
    ' "$page" || wrong=1
done
# Each test that a promise rests on is one: `Group.Name` of GoogleTest, `name` or `group.name` of CTest.
known=$(
    grep -rhoE '^TEST(_[FP])?\([A-Za-z]+, *[A-Za-z0-9]+' tests | sed -E 's/.*\(//; s/, */./'
    grep -rhoE 'add_test\(NAME [a-z._]+' tests fuzz | sed 's/.* //'
    sed -nE 's/^ *vela_add_fuzzer\(([a-z]+) .*/fuzz.\1/p' fuzz/CMakeLists.txt
)
# shellcheck disable=SC2016
while read -r name; do
    grep -qxF "$name" <<<"$known" || { echo "SECURITY.md: there is no test $name" && wrong=1; }
done < <(sed '1,/^## Promises/d' SECURITY.md | grep -oE '`[A-Za-z]+([._][A-Za-z0-9_.]+)?`' | tr -d '`' |
    grep -E '\.|^(guard_pages|command|python)$' | grep -v '\.sh$')
for text in docs/*.dot docs/speed.json; do
    grep -q "$(sha256sum <"$text" | cut -c1-64)" "${text%.*}.svg" ||
        { echo "${text%.*}.svg is not made of $text: scripts/draw_pages.sh" && wrong=1; }
done
exit $wrong
