// The main window's client area: the status line across the top, the progress bar along the
// bottom and the Cancel button in the middle, each placed from the client rectangle and placed
// again whenever the window is resized.
#pragma once

#include <QRect>
#include <QWidget>

class QLabel;
class QProgressBar;
class QPushButton;

namespace mandrel {

class JobPanel : public QWidget {
public:
    explicit JobPanel(QWidget* parent);

    struct Places {
        QRect status;
        QRect progress;
        QRect cancel;
    };
    // Where the three controls go in a client rectangle.
    static Places PlacesFor(const QRect& client);

    QLabel* StatusLine() const { return status_; }
    QProgressBar* ProgressBar() const { return progress_; }
    QPushButton* CancelButton() const { return cancel_; }

protected:
    void resizeEvent(QResizeEvent* event) override;

private:
    QLabel* status_;
    QProgressBar* progress_;
    QPushButton* cancel_;
};

}  // namespace mandrel
