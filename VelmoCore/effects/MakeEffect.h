// The factory of insert effect processors: one new processor per slot kind, with every buffer it
// will ever need allocated here, sized by the sample rate, so `update` never reallocates.
#pragma once

#include "effects/EffectProcessor.h"

#include <memory>

namespace velmo {

// A new processor for `kind` at `sampleRate` frames per second. The caller must call `update`
// before the first `process`; constructor values are not a sound. May allocate: call it while a
// project is applied, never from a block's work.
std::unique_ptr<EffectProcessor> makeEffect(EffectKind kind, double sampleRate);

} // namespace velmo
