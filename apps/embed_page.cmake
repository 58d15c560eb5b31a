# Makes C++ of the gallery's page: cmake -D PAGE=... -D OUT=... -P embed_page.cmake
#
# The page may run its own script and use its own style sheet, and nothing else: both are named to the browser
# by their hashes, which are put in here.

# base64_of_hash(RESULT HEX): CMake gives hashes as hexadecimal digits only.
function(base64_of_hash result hex)
  set(alphabet ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/)
  set(text "")
  # Six digits make four characters, the two bytes at the end of a SHA-256 three and a "=".
  foreach(at RANGE 0 60 6)
    string(SUBSTRING "${hex}00" ${at} 6 group)
    foreach(shift 18 12 6 0)
      math(EXPR value "(0x${group} >> ${shift}) & 63")
      string(SUBSTRING ${alphabet} ${value} 1 character)
      string(APPEND text ${character})
    endforeach()
  endforeach()
  string(REGEX REPLACE "A$" "=" text ${text})
  set(${result} ${text} PARENT_SCOPE)
endfunction()

# hash_of_part(RESULT TEXT BEGIN END): the hash of what stands between BEGIN and END.
function(hash_of_part result text begin end)
  string(FIND "${text}" "${begin}" from)
  string(FIND "${text}" "${end}" to)
  if(from EQUAL -1 OR to EQUAL -1)
    message(FATAL_ERROR "${PAGE} has no ${begin}...${end}")
  endif()
  string(LENGTH "${begin}" skipped)
  math(EXPR from "${from} + ${skipped}")
  math(EXPR length "${to} - ${from}")
  string(SUBSTRING "${text}" ${from} ${length} content)
  string(SHA256 hex "${content}")
  base64_of_hash(hash ${hex})
  set(${result} "'sha256-${hash}'" PARENT_SCOPE)
endfunction()

file(READ "${PAGE}" page)
hash_of_part(style "${page}" "<style>" "</style>")
hash_of_part(script "${page}" "<script>" "</script>")
string(REPLACE "{{STYLE}}" "${style}" page "${page}")
string(REPLACE "{{SCRIPT}}" "${script}" page "${page}")

set(projects "<!-- projects -->\n")
string(FIND "${page}" "${projects}" at)
if(at EQUAL -1)
  message(FATAL_ERROR "${PAGE} has no place for the projects")
endif()
string(SUBSTRING "${page}" 0 ${at} begin)
string(LENGTH "${projects}" length)
math(EXPR at "${at} + ${length}")
string(SUBSTRING "${page}" ${at} -1 end)
file(WRITE "${OUT}" "// Made by embed_page.cmake of gallery_page.html.
#include \"apps/gallery_page.h\"
namespace preview {
constexpr std::string_view kPageBegin = R\"PAGE(${begin})PAGE\";
constexpr std::string_view kPageEnd   = R\"PAGE(${end})PAGE\";
}
")
