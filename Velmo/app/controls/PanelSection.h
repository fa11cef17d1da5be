// A titled group of controls on a raised surface, its title marked with an accent colour: the
// unit that the synth editor's sections are made of.
#pragma once

#include <QColor>
#include <QWidget>

namespace velmo {

// GUI thread only.
class PanelSection final : public QWidget {
public:
    // Takes `content` as its child, below the title.
    PanelSection(QString title, QColor accent, QWidget* content, QWidget* parent = nullptr);

    const QString& title() const { return title_; }

protected:
    void paintEvent(QPaintEvent*) override;

private:
    QString title_;
    QColor accent_;
};

} // namespace velmo
