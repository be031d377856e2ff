# Usage: awk -f doxygen_filter.awk HEADER
# Turns the plain comments of a public header into those that doxygen reads, so that the headers need no markup:
#
#   a comment that precedes the first directive   describes the file, or in tvlclient.h the library
#   // --- Title ---                              begins a group of members
#   a comment after a declaration                 describes that declaration
#   any other comment                             describes what follows

# Escapes what doxygen would take for a command, a link or a tag. Code in backquotes and indented code stays.
function escaped(text, parts, count, i, result) {
  gsub(/ ?NOLINT[A-Z]*\([^)]*\):?/, "", text)
  if (text ~ /^     /) return text
  count = split(text, parts, "`")
  for (i = 1; i <= count; i++) {
    if (i % 2 == 1) gsub(/[\\@<>#%]/, "\\\\&", parts[i])
    result = result (i > 1 ? "`" : "") parts[i]
  }
  return result
}

function indent_of(line) { match(line, /^ */); return substr(line, 1, RLENGTH) }

function end_group() { if (group_level) print "/// @}"; group_level = 0 }

# A group of a class ends with the class, and one of a file with its last function.
function begin_group(title, level) {
  end_group()
  sub(/^--- */, "", title)
  sub(/ *---$/, "", title)
  gsub(/`/, "", title)
  print "/// @name " escaped(title)
  print "/// @{"
  group_level = level
}

FNR == 1 { at_start = 1 }

# A title may take several lines.
title != "" || /^ *\/\/ --- / {
  title = title (title == "" ? "" : " ") substr($0, index($0, "//") + 3)
  if (title ~ / ---$|^---$/) {
    begin_group(title, /^ / ? 2 : 1)
    title = ""
  }
  next
}

/^ *\/\// {
  if (at_start) print FILENAME ~ /\/tvlclient\.h$/ ? "/// @mainpage tvlclient" : "/// @file"
  at_start = 0
  print indent_of($0) "///" escaped(substr($0, index($0, "//") + 2))
  next
}

/^#include|^#if / { at_start = 0 }
group_level == 2 && /^}| (public|protected|private):/ { end_group() }
group_level == 1 && /^#ifdef __cplusplus/ { end_group() }

match($0, /;  +\/\/ |,  +\/\/ |[0-9]  +\/\/ |^[^"]*[^ "]  +\/\/ /) {
  comment = index($0, "  //")
  print substr($0, 1, comment + 1) "///<" escaped(substr($0, comment + 4))
  next
}
{ print }
