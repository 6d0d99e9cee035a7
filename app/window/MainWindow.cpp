#include "app/window/MainWindow.h"

#include "app/window/ButtonRows.h"
#include "ui_MainWindow.h"

#include <QAction>
#include <QCloseEvent>
#include <QScreen>

namespace veltra {

const QString MainWindow::willCloseNotification = QStringLiteral("NSWindowWillCloseNotification");

MainWindow::MainWindow(NotificationCenter& notifications)
    : notifications_{notifications}, ui_{std::make_unique<Ui::MainWindow>()}
{
    ui_->setupUi(this);
    emphasiseStatus();
    layOutButtons();
    connectToolOutput();
    makeCloseAction();
    fitScreen();
    ui_->emptyTable->hide();
    // The table behind it is still scrolled and clicked.
    ui_->emptyTable->setAttribute(Qt::WA_TransparentForMouseEvents);
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

void MainWindow::layOutButtons()
{
    auto* rows = new ButtonRows{ui_->buttons};
    rows->setSpacing(8);
    for (CommandButton* button : buttons())
        rows->addWidget(button);
}

void MainWindow::connectToolOutput()
{
    ui_->toolOutput->hide();
    QToolButton* const opener = ui_->footer->toolOutputButton();
    connect(ui_->toolOutput, &QPlainTextEdit::textChanged, opener, [this, opener] {
        if (!ui_->toolOutput->document()->isEmpty())
            opener->show();
    });
    connect(ui_->toolOutput, &ToolOutputView::dismissed, opener,
            [opener] { opener->setChecked(false); });
    connect(opener, &QToolButton::toggled, this, [this](bool isOpen) {
        ui_->toolOutput->setVisible(isOpen);
        QWidget* const next = isOpen ? static_cast<QWidget*>(ui_->toolOutput) : ui_->table;
        next->setFocus();
    });
}

void MainWindow::makeCloseAction()
{
    auto* close = new QAction{this};
    close->setShortcuts({Qt::CTRL | Qt::Key_W, Qt::CTRL | Qt::Key_Q});
    connect(close, &QAction::triggered, this, &QWidget::close);
    addAction(close);
}

// A screen that is scaled up may be smaller than the window wants to be.
void MainWindow::fitScreen()
{
    resize(size().boundedTo(screen()->availableSize()));
}

void MainWindow::setTexts(const VXStatusResourceController& resources)
{
    const auto text = [&](const QString& key) { return resources.getLocalisedString(key); };
    ui_->table->setAccessibleName(text(QStringLiteral("LOG_TABLE")));
    ui_->statusImg->setAccessibleName(text(QStringLiteral("AGENT_STATE")));
    // An accessible name would hide a label's text.
    ui_->label->setAccessibleDescription(text(QStringLiteral("AGENT_STATE")));
    ui_->versionlabel->setAccessibleDescription(text(QStringLiteral("AGENT_VERSION")));
    ui_->zelServerIpLabel->setAccessibleDescription(text(QStringLiteral("AGENT_SERVER")));
    ui_->emptyTable->setAccessibleDescription(text(QStringLiteral("EMPTY_TABLE")));
    ui_->toolOutput->setAccessibleName(
        text(QStringLiteral("TOOL_OUTPUT")).remove(QLatin1Char{'&'}));
    ui_->footer->setTexts(resources, ui_->table);
}

LogTableView* MainWindow::table() const
{
    return ui_->table;
}

QLabel* MainWindow::emptyTableLabel() const
{
    return ui_->emptyTable;
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

ToolOutputView* MainWindow::toolOutput() const
{
    return ui_->toolOutput;
}

Footer* MainWindow::footer() const
{
    return ui_->footer;
}

void MainWindow::closeEvent(QCloseEvent* event)
{
    notifications_.postNotificationName(willCloseNotification, QVariant::fromValue<QObject*>(this));
    event->accept();
}

} // namespace veltra
