# Adds up the rows of `llvm-cov report -show-branch-summary` by folder and by group of files, prints
# lines and branches of each, and fails when a folder of the list `folders` or a group of the list
# `groups` (NAME=REGEX for the paths of its files) is below want_lines or want_branches percent.
# Columns from the right: branch cover, missed, branches; line cover, missed, lines.

function percent(missed, all) { return all ? 100 * (all - missed) / all : 100 }

function add(place) {
  branches[place] += $(NF - 2)
  missed_branches[place] += $(NF - 1)
  lines[place] += $(NF - 5)
  missed_lines[place] += $(NF - 4)
}

BEGIN {
  count = split(folders, held, " ")
  group_count = split(groups, group, " ")
  for (i = 1; i <= group_count; ++i) {
    split(group[i], part, "=")
    held[++count] = part[1]
    regex[part[1]] = part[2]
  }
  for (i = 1; i <= count; ++i) is_held[held[i]] = 1
}

$1 ~ /^(tmxtools|compiler|tools)\/.*\.(h|cpp)$/ {
  folder = $1
  sub(/\/[^\/]*$/, "", folder)
  add(folder)
  for (name in regex) if ($1 ~ regex[name]) add(name)
}

END {
  printf "%-24s %8s %8s %9s %9s\n", "folder or group", "lines", "covered", "branches", "covered"
  for (place in lines) if (!(place in is_held)) held[++count] = place
  failed = 0
  for (i = 1; i <= count; ++i) {
    place = held[i]
    line_cover = percent(missed_lines[place], lines[place])
    branch_cover = percent(missed_branches[place], branches[place])
    low = place in is_held &&
          (!lines[place] || line_cover < want_lines || branch_cover < want_branches)
    printf "%-24s %8d %7.2f%% %9d %8.2f%%%s\n", place, lines[place], line_cover,
           branches[place], branch_cover, low ? "  too low" : ""
    failed = failed || low
  }
  printf "wanted: %d%% of the lines and %d%% of the branches\n", want_lines, want_branches
  exit failed
}
