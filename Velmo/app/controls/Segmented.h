// A row of mutually exclusive choices, such as the editor tabs.
#pragma once

#include <QStringList>
#include <QWidget>

#include <functional>

namespace velmo {

// GUI thread only.
class Segmented final : public QWidget {
public:
    Segmented(QStringList items, QStringList help, QWidget* parent = nullptr);

    void setSelection(int index);
    int selection() const { return selection_; }
    std::function<void(int)> onSelect;

    QSize sizeHint() const override;

protected:
    void paintEvent(QPaintEvent*) override;
    void mousePressEvent(QMouseEvent*) override;
    bool event(QEvent*) override;

private:
    int itemAt(double x) const;
    double itemWidth() const;

    QStringList items_, help_;
    int selection_ = 0;
};

} // namespace velmo
