#include "effects/MakeEffect.h"

namespace velmo {

namespace {

// TEMPORARY: the nine effect algorithms are not built yet. Until they are, every kind gets this
// processor, which leaves the audio untouched, so chains, bypass flags and processor keeping
// across loads already work end to end. This class is the only place to replace.
class PassThroughFX final : public EffectProcessor {
public:
    void update(const EffectSlot&, const RenderContext&) override {}
    void process(float*, float*, int) override {}
};

} // namespace

std::unique_ptr<EffectProcessor> makeEffect(EffectKind, double) {
    return std::make_unique<PassThroughFX>();
}

} // namespace velmo
