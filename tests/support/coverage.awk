# Adds up the rows of `llvm-cov report -show-branch-summary` by folder, prints lines and branches of
# each, and fails when a folder of the list `folders` is below want_lines or want_branches percent.
# Columns from the right: branch cover, missed, branches; line cover, missed, lines.

function percent(missed, all) { return all ? 100 * (all - missed) / all : 100 }

$1 ~ /^(tmxtools|compiler|tools)\/.*\.(h|cpp)$/ {
  folder = $1
  sub(/\/[^\/]*$/, "", folder)
  branches[folder] += $(NF - 2)
  missed_branches[folder] += $(NF - 1)
  lines[folder] += $(NF - 5)
  missed_lines[folder] += $(NF - 4)
}

END {
  printf "%-24s %8s %8s %9s %9s\n", "folder", "lines", "covered", "branches", "covered"
  count = split(folders, held, " ")
  for (i = 1; i <= count; ++i) is_held[held[i]] = 1
  for (folder in lines) if (!(folder in is_held)) held[++count] = folder
  failed = 0
  for (i = 1; i <= count; ++i) {
    folder = held[i]
    line_cover = percent(missed_lines[folder], lines[folder])
    branch_cover = percent(missed_branches[folder], branches[folder])
    low = folder in is_held &&
          (!lines[folder] || line_cover < want_lines || branch_cover < want_branches)
    printf "%-24s %8d %7.2f%% %9d %8.2f%%%s\n", folder, lines[folder], line_cover,
           branches[folder], branch_cover, low ? "  too low" : ""
    failed = failed || low
  }
  printf "wanted: %d%% of the lines and %d%% of the branches\n", want_lines, want_branches
  exit failed
}
