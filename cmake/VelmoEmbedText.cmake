# velmo_embed_text(TARGET SYMBOL FILES...)
# Adds to TARGET a generated source that defines
#   extern const MxEmbeddedText SYMBOL[]; extern const std::size_t SYMBOLCount;
# one entry (file name, contents) per file and a null entry at the end. See src/velmo/toolkit/classes/MxEmbeddedText.h.
function(velmo_embed_text target symbol)
  set(out "${CMAKE_CURRENT_BINARY_DIR}/${symbol}.cpp")
  set(body "")
  set(count 0)
  foreach(file IN LISTS ARGN)
    get_filename_component(path "${file}" ABSOLUTE)
    get_filename_component(name "${file}" NAME)
    set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS "${path}")
    file(READ "${path}" text)
    string(APPEND body "  {\"${name}\", R\"velmo_text(${text})velmo_text\"},\n")
    math(EXPR count "${count} + 1")
  endforeach()
  file(CONFIGURE OUTPUT "${out}" @ONLY CONTENT
"#include <velmo/toolkit/classes/MxEmbeddedText.h>

extern const MxEmbeddedText @symbol@[];
extern const std::size_t @symbol@Count;
const MxEmbeddedText @symbol@[] = {
@body@  {nullptr, nullptr}};
const std::size_t @symbol@Count = @count@;
")
  target_sources(${target} PRIVATE "${out}")
endfunction()
