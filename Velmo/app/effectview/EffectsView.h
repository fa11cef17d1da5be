// The "Effects" tab: the insert chain of the selected track above the master bus's chain, each
// as a row of cards built from the effect catalog.
#pragma once

#include <QWidget>

class QStackedLayout;

namespace velmo {

class AppModel;
class EffectChainView;

// GUI thread only.
class EffectsView final : public QWidget {
public:
    explicit EffectsView(AppModel& model, QWidget* parent = nullptr);

    // The selected track's chain, or nullptr when no track is selected.
    EffectChainView* trackChain() const { return trackChain_; }
    EffectChainView& masterChain() const { return *master_; }

private:
    void showSong();

    AppModel& model_;
    QStackedLayout* trackPages_;
    EffectChainView* trackChain_ = nullptr;
    EffectChainView* master_;
};

} // namespace velmo
