#include "Studio/Studio.h"

namespace velmo {

void Studio::audition(const std::string& trackId, std::vector<EngineCommand::AuditionNote> notes) {
    if (notes.empty()) return;
    postToEngine(EngineCommand::audition(trackId, std::move(notes)));
}

} // namespace velmo
