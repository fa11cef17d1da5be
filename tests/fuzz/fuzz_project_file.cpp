// Arbitrary bytes as a project file into the decoder, which reads whatever file an agent points
// `open_project` at. It must either refuse the text with a DecodeError or give a project that
// saves and reads back unchanged, with nothing left to repair or warn about.
#include "model/ProjectJSON.h"

#include <cstdint>
#include <cstdlib>
#include <string_view>

using namespace velmo;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Project project;
    try {
        project = decodeProjectFile(std::string_view(reinterpret_cast<const char*>(data), size)).project;
    } catch (const DecodeError&) {
        return 0;
    }
    const ProjectFile again = decodeProjectFile(encodeProjectFile(project));
    if (again.project != project || !again.warnings.empty()) std::abort();
    return 0;
}
