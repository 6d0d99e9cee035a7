#include "app/VXStatusTableVC.h"

#include "app/AgentInformation.h"
#include "app/EmptyTableReason.h"
#include "app/FilledText.h"
#include "app/window/AgentStateIcon.h"
#include "platform/desktop/FileName.h"
#include "platform/desktop/MainQueue.h"
#include "platform/log/SystemLog.h"

#include <QCoreApplication>
#include <QEventLoop>
#include <QFile>
#include <QLocale>
#include <QScopeGuard>
#include <QTableView>

#include <chrono>
#include <exception>
#include <utility>

namespace veltra {

namespace {

// Whether both are the same object in memory, not just equal texts.
bool isSameObject(const QString& one, const QString& other) noexcept
{
    return one.constData() == other.constData();
}

// The last part of a path; empty if that is a folder.
QString nameOf(const QString& path)
{
    return path.section(u'/', -1);
}

// Rows may come many times a second, and need not be counted out.
constexpr std::chrono::milliseconds countInterval{200};

} // namespace

VXStatusTableVC::VXStatusTableVC(VXStatusTableDependencies dependencies)
    : dependencies_{std::move(dependencies)}, switches_{Bundle::bundleWithIdentifier(
                                                  QStringLiteral("com.veltra.vxStatusMonitorApp"),
                                                  dependencies_.mainBundle)},
      list_{rows_}, self_{std::make_shared<VXStatusTableVC*>(this)},
      agentMonitor_{dependencies_.notifications,
                    [this](AgentState state) { showAgentState(state); }, dependencies_.agentProcess}
{
    prepareHelper();
    takeInitialFilePath();
    newLogRegistration_ = dependencies_.notifications.addObserver(
        QStringLiteral("VXStatusNotification"), nullptr,
        [this](const Notification& notification) { handleNotification(notification); });
    fetchTitles();
    startActivity();
    startFirstPass();
    helperControllerObj_->runCommand(QStringLiteral("-i"));
    commandUpdateRegistration_ = dependencies_.notifications.addObserver(
        QStringLiteral("commandUpdate"), nullptr,
        [this](const Notification&) { populateDictionary(); });
}

VXStatusTableVC::~VXStatusTableVC()
{
    stop_.request_stop();
    newLogRegistration_ = {};
    commandUpdateRegistration_ = {};
    firstPass_.join();
}

void VXStatusTableVC::prepareHelper()
{
    helperControllerObj_ = dependencies_.helperController();
    helperInstalled_ = QFile::exists(dependencies_.helperTool) && isHelperInstalled();
    if (!helperInstalled_)
        helperControllerObj_->installHelper();
    if (!QFile::exists(dependencies_.helperTool)) {
        SystemLog::log("The program ends, since it cannot be used without its helper");
        dependencies_.endProcess();
    }
    helperControllerObj_->LaunchHelper();
}

// Waits without a time limit; the event loop runs meanwhile.
bool VXStatusTableVC::isHelperInstalled()
{
    const auto answer = std::make_shared<std::optional<bool>>();
    helperControllerObj_->helperStatusWithCompletion([answer](bool isInstalled) {
        MainQueue::post([answer, isInstalled] { *answer = isInstalled; });
    });
    QEventLoop loop;
    while (!*answer)
        loop.processEvents(QEventLoop::WaitForMoreEvents);
    return **answer;
}

void VXStatusTableVC::takeInitialFilePath()
{
    followed_.filepath = dependencies_.initalFilePath();
    followed_.lastfilepath = dependencies_.initalFilePath();
    followedName_ = nameOf(followed_.filepath);
}

void VXStatusTableVC::fetchTitles()
{
    DATE_ = text(QStringLiteral("DATE"));
    TIME_ = text(QStringLiteral("TIME"));
    messageType_ = text(QStringLiteral("Message_Type"));
    message_ = text(QStringLiteral("Message"));
    component_ = text(QStringLiteral("COMPONENT"));
    list_.setTitles({DATE_, TIME_, component_, messageType_, message_});
}

void VXStatusTableVC::startFirstPass()
{
    firstPass_ = std::thread{[this] {
        try {
            updatelogs();
        } catch (const std::exception& error) {
            SystemLog::logThrown(error);
        }
    }};
}

void VXStatusTableVC::setTableview(QTableView* table)
{
    tableview_ = table;
    table->setModel(&list_);
}

void VXStatusTableVC::setActivityIndicator(ActivityIndicator* indicator)
{
    activityIndicator_ = indicator;
    if (isActive_)
        indicator->startAnimation();
}

void VXStatusTableVC::setEmptyTableLabel(QLabel* label)
{
    emptyTableLabel_ = label;
    connect(&list_, &QAbstractItemModel::rowsInserted, label, &QWidget::hide);
}

void VXStatusTableVC::setFooter(Footer* footer)
{
    footer_ = footer;
    followedLogTimer_.setSingleShot(true);
    followedLogTimer_.setInterval(countInterval);
    connect(&followedLogTimer_, &QTimer::timeout, this, &VXStatusTableVC::showFollowedLog);
    connect(&list_, &QAbstractItemModel::rowsInserted, this, [this] {
        if (!followedLogTimer_.isActive())
            followedLogTimer_.start();
    });
    showFollowedLog();
}

void VXStatusTableVC::awakeFromNib()
{
    if (tableview_)
        tableview_->setColumnHidden(LogTableModel::componentColumn,
                                    isSwitchOn(QStringLiteral("HIDECOMPONENTCOLUMN")));
    agentMonitor_.start();
}

void VXStatusTableVC::updatelogs()
{
    QString why;
    // Also if the pass throws, since nothing else would end the activity.
    const auto finish =
        qScopeGuard([&] { onMainThread([why](VXStatusTableVC& self) { self.finishPass(why); }); });
    {
        const std::lock_guard lock{followedMutex_};
        const auto shown = isSwitchOn(QStringLiteral("SHOWALLLOGS")) ? ShownLines::all
                                                                     : ShownLines::errorsAndInfos;
        const std::string path = bytesOfPath(followed_.filepath);
        followed_.offset = runLogPass(rows_, path, followed_.offset, shown, stop_.get_token());
    }
    why = whyEmpty();
}

// Null if the table is not empty.
QString VXStatusTableVC::whyEmpty()
{
    return rows_.count() > 0
               ? QString{}
               : whyTableIsEmpty(filepath(), rows_.linesRead(), dependencies_.resources);
}

void VXStatusTableVC::handleNotification(const Notification& notification)
{
    const QString newest =
        notification.object.toMap().value(QStringLiteral("newLogFilePath")).toString();
    adopt(newest);
    if (filepath().isEmpty())
        return;
    const QString newerName = newest == filepath() ? QString{} : nameOf(newest);
    onMainThread([newerName](VXStatusTableVC& self) {
        self.startActivity();
        self.showNewerLog(newerName);
    });
    updatelogs();
}

void VXStatusTableVC::populateDictionary()
{
    const auto information = parseAgentInformation(helperControllerObj_->getCommandOutPut());
    if (!information) {
        SystemLog::log("Not able to fetch Zel server IP and VX Version");
        return;
    }
    const QString versionLine = filledText(QStringLiteral("Veltra Agent %@ %@"),
                                           {text(QStringLiteral("VERSION")), information->version});
    const QString serverLine =
        information->hasServer()
            ? filledText(text(QStringLiteral("Zel Server IP %@")), {information->server})
            : QString{};
    onMainThread([versionLine, serverLine](VXStatusTableVC& self) {
        self.showAgentInformation(versionLine, serverLine);
    });
}

void VXStatusTableVC::adopt(const QString& newPath)
{
    const std::lock_guard lock{followedMutex_};
    if (!isSameObject(followed_.lastfilepath, followed_.filepath))
        followed_ = {.filepath = newPath, .lastfilepath = newPath};
}

int VXStatusTableVC::numberOfRowsInTableView(const QTableView* /*table*/) const
{
    return list_.rowCount();
}

QVariant VXStatusTableVC::tableView(const QTableView* /*table*/,
                                    const QString& objectValueForTableColumn, int row) const
{
    if (row < 0 || row >= list_.rowCount())
        return {};
    return list_.record(row).valueForKey(objectValueForTableColumn);
}

void VXStatusTableVC::close(QObject* /*sender*/)
{
    QCoreApplication::quit();
}

QString VXStatusTableVC::filepath() const
{
    const std::lock_guard lock{followedMutex_};
    return followed_.filepath;
}

void VXStatusTableVC::setFilepath(const QString& path)
{
    const std::lock_guard lock{followedMutex_};
    followed_.filepath = path;
}

QString VXStatusTableVC::lastfilepath() const
{
    const std::lock_guard lock{followedMutex_};
    return followed_.lastfilepath;
}

void VXStatusTableVC::setLastfilepath(const QString& path)
{
    const std::lock_guard lock{followedMutex_};
    followed_.lastfilepath = path;
}

std::uint64_t VXStatusTableVC::offset() const
{
    const std::lock_guard lock{followedMutex_};
    return followed_.offset;
}

bool VXStatusTableVC::isSwitchOn(const QString& key) const
{
    return switches_ && switches_->objectForInfoDictionaryKey(key) == QStringLiteral("YES");
}

void VXStatusTableVC::onMainThread(std::function<void(VXStatusTableVC&)> action)
{
    MainQueue::post([weak = std::weak_ptr{self_}, action = std::move(action)] {
        if (const auto self = weak.lock())
            action(**self);
    });
}

void VXStatusTableVC::startActivity()
{
    isActive_ = true;
    if (activityIndicator_)
        activityIndicator_->startAnimation();
}

void VXStatusTableVC::finishPass(const QString& whyEmpty)
{
    isActive_ = false;
    whyEmpty_ = whyEmpty;
    showing_.request();
}

void VXStatusTableVC::showPasses()
{
    if (activityIndicator_ && !isActive_)
        activityIndicator_->stopAnimation();
    list_.adoptPublishedRows();
    if (!emptyTableLabel_ || whyEmpty_.isNull() || list_.rowCount() > 0)
        return;
    emptyTableLabel_->setText(whyEmpty_);
    emptyTableLabel_->show();
}

void VXStatusTableVC::showFollowedLog()
{
    if (!footer_)
        return;
    const int rows = list_.rowCount();
    const QLocale locale{text(QStringLiteral("LANGUAGE"))};
    if (followedName_.isEmpty())
        footer_->showFollowedLog(text(QStringLiteral("NO_LOG_FOLLOWED")));
    else if (rows == 1)
        footer_->showFollowedLog(
            filledText(text(QStringLiteral("FOLLOWED_LOG_ROW")), {followedName_}));
    else
        footer_->showFollowedLog(filledText(text(QStringLiteral("FOLLOWED_LOG_ROWS")),
                                            {followedName_, locale.toString(rows)}));
}

void VXStatusTableVC::showNewerLog(const QString& name)
{
    if (footer_)
        footer_->showState(name.isEmpty() ? QString{}
                                          : filledText(text(QStringLiteral("NEWER_LOG")), {name}));
}

QString VXStatusTableVC::text(const QString& key) const
{
    return dependencies_.resources.getLocalisedString(key);
}

void VXStatusTableVC::showAgentState(AgentState state)
{
    if (statusImg_) {
        constexpr QSize size{24, 24};
        statusImg_->setPixmap(agentStateIcon(state).pixmap(size, statusImg_->devicePixelRatioF()));
    }
    if (label_) {
        const bool isRunning = state == AgentState::running;
        label_->setText(text(isRunning ? QStringLiteral("AGENT_SERVICE_RUNNING")
                                       : QStringLiteral("AGENT_SERVICE_SHUTTING")));
    }
}

void VXStatusTableVC::showAgentInformation(const QString& versionLine, const QString& serverLine)
{
    if (versionlabel_)
        versionlabel_->setText(versionLine);
    if (zelServerIpLabel_)
        zelServerIpLabel_->setText(serverLine);
}

} // namespace veltra
