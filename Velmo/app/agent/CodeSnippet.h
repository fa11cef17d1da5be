// A few lines of monospaced text in a sunken well, as a setup snippet is shown; selectable.
#pragma once

#include <QWidget>

class QLabel;

namespace velmo {

// GUI thread only.
class CodeSnippet final : public QWidget {
public:
    explicit CodeSnippet(QWidget* parent = nullptr);
    void setText(const QString& text);
    QString text() const;

protected:
    void paintEvent(QPaintEvent*) override;

private:
    QLabel* label_;
};

} // namespace velmo
