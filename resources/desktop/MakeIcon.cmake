# Makes the application icon from the logo: the logo's square mark with a
# small margin, without the word mark beside it.
#   cmake -DLOGO=logo.svg -DOUTPUT=icon.svg -P MakeIcon.cmake
file(READ "${LOGO}" svg)
set(root [[width="480" height="120" viewBox="0 0 480 120"]])
string(FIND "${svg}" "${root}" rootAt)
string(FIND "${svg}" "<!-- The word mark -->" wordMarkAt)
if(rootAt EQUAL -1 OR wordMarkAt EQUAL -1)
    message(FATAL_ERROR "${LOGO}: the logo's layout changed; update MakeIcon.cmake")
endif()
string(FIND "${svg}" "<svg " svgAt)
math(EXPR markLength "${wordMarkAt} - ${svgAt}")
string(SUBSTRING "${svg}" ${svgAt} ${markLength} mark)
# The mark is the 96-unit tile at (12, 12); 8 units of margin on every side.
string(REPLACE "${root}" [[width="112" height="112" viewBox="4 4 112 112"]] mark "${mark}")
file(WRITE "${OUTPUT}.tmp"
    "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<!-- Practorium's icon, made from logo.svg at build time. -->\n${mark}</svg>\n")
file(RENAME "${OUTPUT}.tmp" "${OUTPUT}")
