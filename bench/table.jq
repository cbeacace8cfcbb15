# A Markdown table of what `measure` found: a row per command, and per tree its ratios to the bases
# and its peak memory.
def fixed: (. * 100 | round) as $n | "\($n / 100 | floor).\("0\($n % 100)"[-2:])";
def line: "| " + join(" | ") + " |";

([.[].ratios | keys[]] | unique | reverse) as $bases
| group_by(.entries) as $trees
| ([$trees[] | .[0] | "`\(.tree)` / \($bases[0])", ($bases[1:][] | "/ \(.)"), "MiB"]) as $columns
| ([""] + $columns | line),
  (["---", ($columns[] | "---:")] | line),
  # The commands in the order in which the first tree was measured.
  (.[0].tree as $first | .[] | select(.tree == $first) | .name as $name
   | [$name, ($trees[] | map(select(.name == $name))[]
              | (.ratios[$bases[]] // empty | fixed), (.peakKiB / 1024 | "\(. * 10 | round)" | "\(.[:-1]).\(.[-1:])"))]
   | line)
