#include "controls/PanelMenu.h"

#include "controls/TextLabel.h"

#include <QComboBox>
#include <QLabel>
#include <QVBoxLayout>

namespace velmo {

PanelMenu::PanelMenu(QString label, QStringList options, QWidget* parent) : QWidget(parent) {
    auto* column = new QVBoxLayout(this);
    column->setContentsMargins(0, 0, 0, 0);
    column->setSpacing(2);
    menu_ = new QComboBox;
    menu_->addItems(options);
    QFont small = menu_->font();
    small.setPixelSize(11);
    menu_->setFont(small);
    menu_->setFocusPolicy(Qt::NoFocus);  // the computer-keyboard piano keeps the keys
    connect(menu_, &QComboBox::activated, this, [this](int index) {
        if (onSelect) onSelect(menu_->itemText(index));
    });
    if (!label.isEmpty()) {
        auto* caption = textLabel(label, 10, false, true);
        column->addWidget(caption, 0, Qt::AlignHCenter);
    }
    column->addWidget(menu_);
    setSizePolicy(QSizePolicy::Fixed, QSizePolicy::Fixed);
}

void PanelMenu::setValue(const QString& value) {
    if (menu_->currentText() != value || menu_->currentIndex() < 0) menu_->setCurrentIndex(menu_->findText(value));
}

QString PanelMenu::value() const { return menu_->currentText(); }

} // namespace velmo
