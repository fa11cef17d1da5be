#include "effects/MakeEffect.h"

#include "base/Precondition.h"
#include "effects/AutoFilterFX.h"
#include "effects/BitcrushFX.h"
#include "effects/ChorusFX.h"
#include "effects/CompressorFX.h"
#include "effects/DelayFX.h"
#include "effects/DriveFX.h"
#include "effects/EQFX.h"
#include "effects/PhaserFX.h"
#include "effects/ReverbFX.h"

namespace velmo {

std::unique_ptr<EffectProcessor> makeEffect(EffectKind kind, double sampleRate) {
    switch (kind) {
    case EffectKind::drive: return std::make_unique<DriveFX>(sampleRate);
    case EffectKind::bitcrush: return std::make_unique<BitcrushFX>(sampleRate);
    case EffectKind::chorus: return std::make_unique<ChorusFX>(sampleRate);
    case EffectKind::phaser: return std::make_unique<PhaserFX>(sampleRate);
    case EffectKind::delay: return std::make_unique<DelayFX>(sampleRate);
    case EffectKind::reverb: return std::make_unique<ReverbFX>(sampleRate);
    case EffectKind::eq: return std::make_unique<EQFX>(sampleRate);
    case EffectKind::compressor: return std::make_unique<CompressorFX>(sampleRate);
    case EffectKind::autofilter: return std::make_unique<AutoFilterFX>(sampleRate);
    }
    // Every kind returns above; a value outside the enumeration is a programming fault.
    preconditionFailed("makeEffect", "kind is one of the EffectKind cases", __FILE__, __LINE__);
}

} // namespace velmo
