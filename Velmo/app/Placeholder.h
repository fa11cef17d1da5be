// The plain text that stands where a view is still to come, or where there is nothing to show.
#pragma once

#include <QWidget>

namespace velmo {

// GUI thread only.
class Placeholder final : public QWidget {
public:
    Placeholder(QString title, QString detail, QWidget* parent = nullptr);
    void setText(QString title, QString detail);

protected:
    void paintEvent(QPaintEvent*) override;

private:
    QString title_, detail_;
};

} // namespace velmo
