# awk -f compare.awk targets.txt RESULT.csv: from Google Benchmark's CSV, prints for each case and
# size how many times faster than each peer we are. Times are processor time, as others may use the
# machine, except for benchmarks that ask for the clock; repetitions of a benchmark count with their
# median. Fails when a wanted ratio is missed, and when a benchmark reported an error.

function median(key,   count, times, i, j, swap) {
  count = split(samples[key], times, " ")
  for (i = 2; i <= count; ++i)
    for (j = i; j > 1 && times[j - 1] + 0 > times[j] + 0; --j) {
      swap = times[j]; times[j] = times[j - 1]; times[j - 1] = swap
    }
  return times[int((count + 1) / 2)]
}

FNR == NR {
  if ($0 !~ /^#/ && NF == 3) wanted[$1, $2] = $3
  next
}

/^name,/ { split($0, title, ","); for (i in title) column[title[i]] = i; next }
!/^"/ || /_(mean|median|stddev|cv)"/ { next }

{
  # The name is quoted and holds no comma; the fields after it are counted from there.
  count = split($0, field, ",")
  name = field[1]
  gsub(/"/, "", name)
  if (field[column["error_occurred"]] == "true") {
    print "error: " name ": " field[column["error_message"]]
    failed = 1
    next
  }
  size = ""
  if (match(name, /\/.*/)) { size = substr(name, RSTART); name = substr(name, 1, RSTART - 1) }
  by_clock = size ~ /\/real_time/
  gsub(/\/(real_time|manual_time|(repeats|min_time|iterations):[^\/]*)/, "", size)
  who = name
  sub(/.*_/, "", who)
  what = substr(name, 1, length(name) - length(who) - 1)
  key = what SUBSEP size SUBSEP who
  if (!(key in samples)) order[++rows] = key
  unit[key] = field[column["time_unit"]]
  samples[key] = samples[key] " " field[column[by_clock ? "real_time" : "cpu_time"]]
}

END {
  if (!rows) { print "error: no benchmark was run"; exit 1 }
  # The repetitions may have run in any order.
  for (i = 2; i <= rows; ++i)
    for (j = i; j > 1 && order[j - 1] > order[j]; --j) {
      swap = order[j]; order[j] = order[j - 1]; order[j - 1] = swap
    }
  printf "%-28s %-12s %14s %14s %8s %8s\n", "case", "peer", "ours", "peer's", "ratio", "wanted"
  for (i = 1; i <= rows; ++i) {
    split(order[i], part, SUBSEP)
    if (part[3] == "Ours") continue
    ours = part[1] SUBSEP part[2] SUBSEP "Ours"
    if (!(ours in samples)) continue
    ratio = median(order[i]) / median(ours)
    want = wanted[part[1], part[3]]
    missed = want != "" && ratio < want
    printf "%-28s %-12s %11.1f %s %11.1f %s %7sx %8s%s\n", part[1] part[2], part[3],
           median(ours), unit[ours], median(order[i]), unit[order[i]],
           sprintf(ratio < 0.1 ? "%.4f" : "%.2f", ratio),
           want == "" ? "-" : want "x", missed ? "  missed" : ""
    failed = failed || missed
  }
  exit failed
}
