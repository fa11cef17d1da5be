#include "agent/CodeSnippet.h"

#include "Theme.h"

#include <QLabel>
#include <QPainter>
#include <QVBoxLayout>

namespace velmo {

CodeSnippet::CodeSnippet(QWidget* parent) : QWidget(parent) {
    label_ = new QLabel;
    QFont mono = label_->font();
    mono.setFamily("DejaVu Sans Mono");
    mono.setStyleHint(QFont::Monospace);
    mono.setPixelSize(11);
    label_->setFont(mono);
    label_->setTextFormat(Qt::PlainText);
    label_->setTextInteractionFlags(Qt::TextSelectableByMouse);
    label_->setWordWrap(true);
    auto* column = new QVBoxLayout(this);
    column->setContentsMargins(10, 8, 10, 8);
    column->addWidget(label_);
}

void CodeSnippet::setText(const QString& text) { label_->setText(text); }

QString CodeSnippet::text() const { return label_->text(); }

void CodeSnippet::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    Theme::paintWell(painter, rect());
}

} // namespace velmo
