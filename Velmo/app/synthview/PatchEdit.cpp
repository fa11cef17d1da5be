#include "synthview/PatchEdit.h"

#include "catalog/JSONPath.h"

namespace velmo {

void setPatchParam(Studio& studio, const std::string& trackID, const std::string& path, nlohmann::json value,
                   std::optional<std::string> coalesce) {
    const auto index = studio.project().trackIndex(trackID);
    if (!index) return;
    try {
        studio.setSynth(*index, std::nullopt, std::nullopt, nlohmann::json{{path, std::move(value)}}, std::move(coalesce));
    } catch (const UserError&) {
        // the catalog built this control, so only a value outside its kind lands here; the
        // control shows the patch as it stays
    }
}

const nlohmann::json* lookup(const std::string& path, const nlohmann::json& tree) {
    const auto parts = JSONPath::components(path);
    return JSONPath::get(parts, tree);
}

} // namespace velmo
