#include "app/MainWindow.h"

#include "ui_MainWindow.h"

#include <QCloseEvent>

namespace veltra {

const QString MainWindow::willCloseNotification = QStringLiteral("NSWindowWillCloseNotification");

MainWindow::MainWindow(NotificationCenter& notifications)
    : notifications_{notifications}, ui_{std::make_unique<Ui::MainWindow>()}
{
    ui_->setupUi(this);
    emphasiseStatus();
    ui_->table->setFocus();
}

MainWindow::~MainWindow() = default;

void MainWindow::emphasiseStatus()
{
    QFont font = ui_->label->font();
    font.setPointSizeF(font.pointSizeF() * 1.2);
    font.setBold(true);
    ui_->label->setFont(font);
}

LogTableView* MainWindow::table() const
{
    return ui_->table;
}

ActivityIndicator* MainWindow::activityIndicator() const
{
    return ui_->activityIndicator;
}

QLabel* MainWindow::statusImage() const
{
    return ui_->statusImg;
}

QLabel* MainWindow::statusLabel() const
{
    return ui_->label;
}

QLabel* MainWindow::versionLabel() const
{
    return ui_->versionlabel;
}

QLabel* MainWindow::serverLabel() const
{
    return ui_->zelServerIpLabel;
}

std::array<CommandButton*, 6> MainWindow::buttons() const
{
    return {ui_->button, ui_->button1, ui_->button2, ui_->button3, ui_->button4, ui_->button5};
}

void MainWindow::closeEvent(QCloseEvent* event)
{
    notifications_.postNotificationName(willCloseNotification, QVariant::fromValue<QObject*>(this));
    event->accept();
}

} // namespace veltra
