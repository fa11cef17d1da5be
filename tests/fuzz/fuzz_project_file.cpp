// Arbitrary bytes as a project file into the decoder, which reads whatever file an agent points
// `open_project` at. It must either refuse the text with a DecodeError or give a project that
// saves and reads back unchanged.
#include "model/ProjectJSON.h"

#include <cstdint>
#include <cstdlib>
#include <string_view>

using namespace velmo;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Project project;
    try {
        project = decodeProjectFile(std::string_view(reinterpret_cast<const char*>(data), size));
    } catch (const DecodeError&) {
        return 0;
    }
    if (decodeProjectFile(encodeProjectFile(project)) != project) std::abort();
    return 0;
}
