#include "gui/job_panel.h"

#include <QLabel>
#include <QProgressBar>
#include <QPushButton>

#include "gui/commands.h"
#include "gui/dialog_parts.h"

namespace mandrel {

JobPanel::JobPanel(QWidget* parent)
    : QWidget(parent),
      status_(new QLabel(this)),
      progress_(new QProgressBar(this)),
      cancel_(new QPushButton(QStringLiteral("Cancel"), this)) {
    status_->setObjectName(ControlName(kIdStatusLine));
    status_->setFrameStyle(QFrame::Panel | QFrame::Sunken);
    status_->setAlignment(Qt::AlignCenter);
    status_->setTextFormat(Qt::PlainText);
    progress_->setObjectName(ControlName(kIdProgressBar));
    progress_->setRange(0, 100);
    progress_->setValue(0);
    cancel_->setObjectName(ControlName(kIdCancelButton));
    // Disabled and hidden until a job runs.
    cancel_->setEnabled(false);
    cancel_->hide();
}

JobPanel::Places JobPanel::PlacesFor(const QRect& client) {
    const int left = client.left();
    const int top = client.top();
    const int width = client.width();
    const int height = client.height();
    const int bottom = top + height;
    Places places;
    places.status = QRect(left, top, width, height / 3);
    places.progress = QRect(left, bottom - height / 4, width, height / 4);
    places.cancel =
        QRect(left + 3 * (width / 8), top + 3 * (height / 8), 2 * (width / 8), 2 * (height / 8));
    return places;
}

void JobPanel::resizeEvent(QResizeEvent* event) {
    QWidget::resizeEvent(event);
    const Places places = PlacesFor(rect());
    status_->setGeometry(places.status);
    progress_->setGeometry(places.progress);
    cancel_->setGeometry(places.cancel);
}

}  // namespace mandrel
