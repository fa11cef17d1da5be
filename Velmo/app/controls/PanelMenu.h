// A labelled pop-up menu of texts, for parameters that take one of a fixed list of words.
#pragma once

#include <QStringList>
#include <QWidget>

#include <functional>

class QComboBox;

namespace velmo {

// GUI thread only.
class PanelMenu final : public QWidget {
public:
    // Without a label the menu stands alone.
    PanelMenu(QString label, QStringList options, QWidget* parent = nullptr);

    // Shows `value`; a text that is no option shows nothing chosen.
    void setValue(const QString& value);
    QString value() const;
    // Called with the option the person chose.
    std::function<void(const QString&)> onSelect;

    QComboBox& menu() { return *menu_; }

private:
    QComboBox* menu_;
};

} // namespace velmo
