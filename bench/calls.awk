# From the trace of a benchmark program: the system calls of each counted run as one JSON object a line.
match($0, /"bench begin [^"]*/) { name = substr($0, RSTART + 13, RLENGTH - 13); calls = ""; on = 1; next }
/"bench end"/ { if (!(name in found)) order[++count] = name; found[name] = calls; on = 0; next }
/"bench pause"/ { on = 0; next }
/"bench resume"/ { on = 1; next }
/^clock_gettime/ { next }  # what the measuring asks
on && match($0, /^[a-z0-9_]+/) {
  call = substr($0, 1, RLENGTH)
  # An ioctl says with its second argument what it does.
  if (call == "ioctl" && match($0, /(TC|TIOC|FIO)[A-Z]+/)) call = substr($0, RSTART, RLENGTH)
  calls = calls (calls == "" ? "" : ",") "\"" call "\""
}
END { for (i = 1; i <= count; i++) printf "{\"name\":\"%s\",\"calls\":[%s]}\n", order[i], found[order[i]] }
