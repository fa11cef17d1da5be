#include "synthview/Drawbars.h"

#include "Studio/Studio.h"
#include "Theme.h"
#include "controls/CText.h"
#include "synthview/PatchEdit.h"

#include <QHBoxLayout>
#include <QMouseEvent>
#include <QPainter>

#include <algorithm>

namespace velmo {

double drawbarLevel(double y, double height) { return height > 0 ? std::clamp(1 - y / height, 0.0, 1.0) : 0.0; }

namespace {

constexpr int numberHeight = 14, barWidth = 16;

} // namespace

// One partial: its number above a bar that fills from the foot. The pointer, pressed on it, sets
// the level until release, even beyond the bar's ends.
class Drawbar final : public QWidget {
public:
    Drawbar(int number, QColor color, std::function<void(double)> onChange)
        : number_(number), color_(color), onChange_(std::move(onChange)) {
        setFixedSize(barWidth, numberHeight + Drawbars::barHeight);
        setCursor(Qt::SizeVerCursor);
        setToolTip("Drag to set partial levels");
    }

    void setValue(double value) {
        if (value == value_) return;
        value_ = value;
        update();
    }

protected:
    void paintEvent(QPaintEvent*) override {
        const Palette& p = Theme::palette();
        QPainter painter(this);
        QFont font = painter.font();
        font.setPixelSize(9);
        painter.setFont(font);
        painter.setPen(p.ink2);
        painter.drawText(QRectF(0, 0, width(), numberHeight), Qt::AlignCenter, cText("%lld", static_cast<long long>(number_)));
        const QRectF bar(2, numberHeight, width() - 4, Drawbars::barHeight);
        Theme::paintWell(painter, bar, 3);
        const double fill = std::clamp(value_, 0.0, 1.0) * bar.height();
        painter.setBrush(color_);
        painter.drawRoundedRect(QRectF(bar.left(), bar.bottom() - fill, bar.width(), fill), 3, 3);
    }

    void mousePressEvent(QMouseEvent* event) override {
        dragging_ = true;
        follow(event->position().y());
    }
    void mouseMoveEvent(QMouseEvent* event) override {
        if (dragging_) follow(event->position().y());
    }
    void mouseReleaseEvent(QMouseEvent*) override { dragging_ = false; }

private:
    void follow(double y) { onChange_(drawbarLevel(y - numberHeight, Drawbars::barHeight)); }

    int number_;
    QColor color_;
    std::function<void(double)> onChange_;
    double value_ = 0;
    bool dragging_ = false;
};

Drawbars::Drawbars(Studio& studio, std::string trackID, std::vector<const ParamInfo*> partials, QColor color,
                   QWidget* parent)
    : QWidget(parent) {
    auto* row = new QHBoxLayout(this);
    row->setContentsMargins(0, 0, 0, 0);
    row->setSpacing(3);
    for (std::size_t i = 0; i < partials.size(); ++i) {
        const std::string path = partials[i]->path;
        auto* bar = new Drawbar(static_cast<int>(i) + 1, color, [&studio, trackID, path](double level) {
            const auto index = studio.project().trackIndex(trackID);
            if (index) setPatchParam(studio, trackID, path, level, "drawbar-" + std::to_string(*index));
        });
        bar->setObjectName(QString::fromStdString(path));
        row->addWidget(bar);
        bars_.emplace_back(partials[i], bar);
    }
}

void Drawbars::showPatch(const nlohmann::json& patch) {
    for (const auto& [spec, bar] : bars_)
        if (const nlohmann::json* value = lookup(spec->path, patch); value && value->is_number()) bar->setValue(value->get<double>());
}

} // namespace velmo
