# A table in Markdown from the JSON of the benchmarks: rows or growth, as $table says. $calls is what calls.awk found.
def line: "| " + (map(tostring) | join(" | ")) + " |";
def heading: line, (map("---") | line);
def rounded: . * 100 | round / 100;
def marked($mark): if $mark < 0 then . else "\(.), at most \($mark)" end;

# Each benchmark by its name, with the time of its median turn.
def measured:
  [.[].benchmarks[] | select(.run_type == "iteration")] | group_by(.run_name)
  | INDEX(.[] | .[0] + {time: (map(.median // .cpu_time) | sort | .[length / 2 | floor])}; .run_name);

# "2 read, write" for ["read", "read", "write"].
def listed:
  reduce .[] as $call ([]; if .[-1].call == $call then .[-1].times += 1 else . + [{call: $call, times: 1}] end)
  | map(if .times > 1 then "\(.times) \(.call)" else .call end) | join(", ");

# What the product calls and what the limit; of many calls the number alone.
def beside($limit):
  if . == [] and $limit == [] then "-"
  elif length > 16 then "\(length) beside \($limit | length)"
  elif . == $limit then "both: " + listed
  else listed + " beside " + ($limit | listed) end;

def verdict($ratio; $calls):
  [if .mark > 0 and $ratio > .mark then "time" else empty end,
   if .allocsMark >= 0 and .allocs > .allocsMark then "allocations" else empty end,
   if .callsMark >= 0 and ($calls | length) > .callsMark then "calls" else empty end]
  | if . == [] then "ok" else "missed: " + join(", ") end;

def rows:
  (["work", "x limit", "verdict", "allocations", "system calls"] | heading),
  (measured as $sides | INDEX($calls[]; .name) as $traced
   | $calls[].name | select(endswith("/product")) | . as $name | sub("/product"; "/limit") as $limitName
   | $sides[$name] as $product | $sides[$limitName] as $limit
   | ($product.time / $limit.time | rounded) as $ratio
   | [($name | sub("/product"; "")), ($ratio | marked($product.mark)),
      ($product | verdict($ratio; $traced[$name].calls)),
      ("\($product.allocs) beside \($limit.allocs)" | marked($product.allocsMark)),
      ($traced[$name].calls | beside($traced[$limitName].calls))] | line),
  (.[].benchmarks[] | select(.kbEach)
   | [(.name | sub("/.*"; "")), (.kbEach | rounded | "\(.) kB, at most 64"),
      if .kbEach <= 64 then "ok" else "missed" end, "-", "-"] | line);

def growth:
  (["work", "size", "time of each step", "size x", "time x", "at most linear"] | heading),
  (measured | to_entries
   | map((.key | split("/")) as [$growth, $work, $size]
         | {work: $work, size: ($size | tonumber), time: .value.time})
   | group_by(.work)[] | sort_by(.size) | (.[-1].size / .[0].size) as $size | (.[-1].time / .[0].time) as $time
   | . as $points | [range(1; length) | $points[.].time / $points[. - 1].time | rounded | "x\(.)"] as $steps
   | [.[0].work, (map(.size) | join(", ")), ($steps | join(", ")), $size, ($time | rounded),
      if $time <= $size * 1.1 then "yes" else "no" end] | line);

if $table == "rows" then rows else growth end
