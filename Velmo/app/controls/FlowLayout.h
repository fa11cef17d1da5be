// A layout that places its items left to right at their preferred sizes and wraps to a new row
// when the width is used up, so the synth's sections and the effect cards fill any window.
#pragma once

#include <QLayout>
#include <QList>

namespace velmo {

// GUI thread only.
class FlowLayout final : public QLayout {
public:
    explicit FlowLayout(int spacing, QWidget* parent = nullptr);
    ~FlowLayout() override;

    void addItem(QLayoutItem* item) override;
    int count() const override { return static_cast<int>(items_.size()); }
    QLayoutItem* itemAt(int index) const override;
    QLayoutItem* takeAt(int index) override;

    Qt::Orientations expandingDirections() const override { return {}; }
    bool hasHeightForWidth() const override { return true; }
    int heightForWidth(int width) const override;
    QSize minimumSize() const override;
    QSize sizeHint() const override;
    void setGeometry(const QRect& rect) override;

private:
    // The height the items take in `rect`, placing them there when `place`.
    int arrange(const QRect& rect, bool place) const;

    QList<QLayoutItem*> items_;
    int spacing_;
};

} // namespace velmo
