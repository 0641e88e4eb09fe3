#!/bin/bash
# Usage: pages.sh
# Holds the pages against the tree: every relative link leads to a file, every path in backticks exists, and
# every piece of C or C++ that a page shows stands so in an example.
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
for text in docs/*.dot; do
    grep -q "$(sha256sum <"$text" | cut -c1-64)" "${text%.dot}.svg" ||
        { echo "${text%.dot}.svg is not made of $text: scripts/draw_pages.sh" && wrong=1; }
done
exit $wrong
