# A table in Markdown from the JSON of the benchmarks: rows or growth, as $table says. $calls is what calls.awk found.
def line: "| " + (map(tostring) | join(" | ")) + " |";
def heading: line, (map("---") | line);
def rounded: . * 100 | round / 100;
def marked($mark): if $mark < 0 then . else "\(.), at most \($mark)" end;

def median: sort | .[length / 2 | floor];

# The repetitions of each benchmark, by its name.
def measured: [.[].benchmarks[] | select(.run_type == "iteration")] | group_by(.run_name) | INDEX(.[0].run_name);

# "2 read, write" for ["read", "read", "write"].
def listed:
  reduce .[] as $call ([]; if .[-1].call == $call then .[-1].times += 1 else . + [{call: $call, times: 1}] end)
  | map(if .times > 1 then "\(.times) \(.call)" else .call end) | join(", ");

# What the product calls and what the limit; of many calls the number alone.
def against($limit):
  if . == [] and $limit == [] then "-"
  elif length > 16 then "\(length) vs \($limit | length)"
  elif . == $limit then "both: " + listed
  else listed + " vs " + ($limit | listed) end;

def verdict($ratio; $calls):
  [if .mark > 0 and $ratio > .mark then "time" else empty end,
   if .allocsMark >= 0 and .allocs > .allocsMark then "allocations" else empty end,
   if .callsMark >= 0 and ($calls | length) > .callsMark then "calls" else empty end]
  | if . == [] then "ok" else "missed: " + join(", ") end;

def rows:
  (["work", "x limit", "verdict", "allocations", "system calls"] | heading),
  (measured as $rows | INDEX($calls[]; .name) as $traced
   | $calls[].name | select(endswith("/product")) | sub("/product"; "") as $name
   | $rows[$name][0] as $row | ($rows[$name] | map(.ratio) | median | rounded) as $ratio
   | $traced[$name + "/product"].calls as $productCalls
   | [$name, ($ratio | marked($row.mark)), ($row | verdict($ratio; $productCalls)),
      ("\($row.allocs) vs \($row.limitAllocs)" | marked($row.allocsMark)),
      ($productCalls | against($traced[$name + "/limit"].calls))] | line),
  (.[].benchmarks[] | select(.kbEach)
   | [(.name | sub("/.*"; "")), (.kbEach | rounded | "\(.) kB, at most 64"),
      if .kbEach <= 64 then "ok" else "missed" end, "-", "-"] | line);

def growth:
  (["work", "size", "time of each step", "size x", "time x", "at most linear"] | heading),
  (measured | to_entries
   | map((.key | split("/")) as [$growth, $work, $size]
         | {work: $work, size: ($size | tonumber), time: (.value | map(.cpu_time) | median)})
   | group_by(.work)[] | sort_by(.size) | (.[-1].size / .[0].size) as $size | (.[-1].time / .[0].time) as $time
   | . as $points | [range(1; length) | $points[.].time / $points[. - 1].time | rounded | "x\(.)"] as $steps
   | [.[0].work, (map(.size) | join(", ")), ($steps | join(", ")), $size, ($time | rounded),
      if $time <= $size * 1.1 then "yes" else "no" end] | line);

if $table == "rows" then rows else growth end
