// The filter responses a voice and the auto-filter can run. The song model stores one per patch
// and gives each its wire word; the filter itself needs only the case.
#pragma once

namespace velmo {

enum class FilterType { off, lowpass12, lowpass24, ladder, highpass12, bandpass, notch };

} // namespace velmo
