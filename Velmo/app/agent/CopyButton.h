// A small "Copy" button that puts its text on the clipboard and says "Copied" for a moment.
#pragma once

#include <QWidget>

namespace velmo {

// GUI thread only.
class CopyButton final : public QWidget {
public:
    explicit CopyButton(QWidget* parent = nullptr);
    void setText(QString text) { text_ = std::move(text); }
    const QString& text() const { return text_; }
    bool copied() const { return copied_; }

    QSize sizeHint() const override;

protected:
    void paintEvent(QPaintEvent*) override;
    void mousePressEvent(QMouseEvent*) override;

private:
    QString text_;
    bool copied_ = false;
    int generation_ = 0;  // a later press keeps "Copied" up for its own full moment
};

} // namespace velmo
