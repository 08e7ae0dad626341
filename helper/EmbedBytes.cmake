# cmake -DINPUT=<file> -DOUTPUT=<file.cpp> -P EmbedBytes.cmake
# Writes a C++ source defining orv::embeddedInfoPlist() over INPUT's bytes.
file(READ "${INPUT}" hex HEX)
string(REGEX REPLACE "([0-9a-f][0-9a-f])" "0x\\1," bytes "${hex}")
string(REGEX REPLACE "(0x..,0x..,0x..,0x..,0x..,0x..,0x..,0x..,0x..,0x..,0x..,0x..,0x..,0x..,0x..,0x..,)" "\\1\n    " bytes "${bytes}")
file(WRITE "${OUTPUT}.tmp" "// Generated from ${INPUT}; do not edit.
#include \"helper/EmbeddedInfoPlist.h\"

namespace orv {

namespace {
const uint8_t bytes[] = {
    ${bytes}
};
}  // namespace

std::span<const uint8_t> embeddedInfoPlist() { return bytes; }

}  // namespace orv
")
file(COPY_FILE "${OUTPUT}.tmp" "${OUTPUT}" ONLY_IF_DIFFERENT)
file(REMOVE "${OUTPUT}.tmp")
