#include "EditorPane.h"

#include "AppModel.h"
#include "Placeholder.h"
#include "Theme.h"
#include "agent/AgentPanel.h"
#include "controls/Hairline.h"
#include "controls/Segmented.h"
#include "effectview/EffectsView.h"
#include "pianoroll/PianoRollView.h"
#include "synthview/SynthEditorView.h"

#include <QHBoxLayout>
#include <QPainter>
#include <QStackedWidget>
#include <QVBoxLayout>

namespace velmo {

EditorPane::EditorPane(AppModel& model, QWidget* parent) : QWidget(parent), model_(model) {
    QStringList titles;
    for (auto title : editorTabTitles) titles << QString::fromUtf8(title.data(), static_cast<int>(title.size()));
    tabs_ = new Segmented(titles, {"Edit the selected clip's notes", "Design the selected track's sound",
                                   "Insert effects of the track and the master bus", "Connect an AI agent"});
    tabs_->onSelect = [this](int index) { model_.setEditorTab(static_cast<EditorTab>(index)); };

    auto* header = new QHBoxLayout;
    header->setContentsMargins(12, 8, 12, 8);
    header->addWidget(tabs_);
    header->addStretch();

    stack_ = new QStackedWidget;
    stack_->addWidget(new PianoRollView(model_));
    stack_->addWidget(new SynthEditorView(model_));
    stack_->addWidget(new EffectsView(model_));
    stack_->addWidget(new AgentPanel(model_));

    auto* column = new QVBoxLayout(this);
    column->setContentsMargins(0, 0, 0, 0);
    column->setSpacing(0);
    column->addLayout(header);
    column->addWidget(new Hairline);
    column->addWidget(stack_, 1);

    connect(&model_, &AppModel::editorTabChanged, this, &EditorPane::showTab);
    showTab();
}

void EditorPane::showTab() {
    const int index = static_cast<int>(model_.editorTab());
    tabs_->setSelection(index);
    stack_->setCurrentIndex(index);
}

void EditorPane::paintEvent(QPaintEvent*) { QPainter(this).fillRect(rect(), Theme::palette().body); }

} // namespace velmo
