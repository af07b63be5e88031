# Cuts the README's reference sections into Doxygen pages, so that they are written once.
# Usage: cmake -DREADME=README.md -DOUT=DIR -P readme_pages.cmake
file(READ ${README} readme)
foreach(page IN ITEMS "input-file|The input file" "installation-log|The installation log"
                      "rule-strings|Rule strings" "trace-channels|Trace channels")
  string(REPLACE "|" ";" page "${page}")
  list(GET page 0 name)
  list(GET page 1 title)
  string(FIND "${readme}" "\n## ${title}\n" begin)
  if(begin EQUAL -1)
    message(FATAL_ERROR "README.md has no section '## ${title}'")
  endif()
  string(LENGTH "\n## ${title}\n" heading)
  math(EXPR begin "${begin} + ${heading}")
  string(SUBSTRING "${readme}" ${begin} -1 body)
  string(FIND "${body}" "\n## " end)
  string(SUBSTRING "${body}" 0 ${end} body)
  # Doxygen 1.9 reads `...' in a code span as a quotation, and drops a % before a word; the
  # entity and a doubled % come out as the characters themselves.
  string(REGEX MATCHALL "`[^`\n]*['%][^`\n]*`" spans "${body}")
  list(REMOVE_DUPLICATES spans)
  foreach(span IN LISTS spans)
    string(REPLACE "'" "&apos;" fixed "${span}")
    string(REGEX REPLACE "%([A-Za-z_])" "%%\\1" fixed "${fixed}")
    string(REPLACE "${span}" "${fixed}" body "${body}")
  endforeach()
  # The pages lie in html/, beside the examples' folder.
  string(REPLACE "](examples/" "](../examples/" body "${body}")
  file(WRITE ${OUT}/${name}.md "# ${title} {#${name}}\n\n${body}\n")
endforeach()
