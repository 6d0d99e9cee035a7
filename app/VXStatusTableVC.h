#pragma once

#include "agentmon/AgentProcessMonitor.h"
#include "app/window/ActivityIndicator.h"
#include "app/window/Footer.h"
#include "channel/client/HelperToolController.h"
#include "logview/rows/LogPass.h"
#include "logview/table/LogTableModel.h"
#include "logview/table/OncePerFrame.h"
#include "platform/desktop/Bundle.h"
#include "platform/desktop/NotificationCenter.h"
#include "watch/VXStatusResourceController.h"

#include <QLabel>
#include <QObject>
#include <QPointer>
#include <QString>
#include <QTimer>

#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <stop_token>
#include <thread>

class QTableView;

namespace veltra {

/// The table controller's dependencies.
struct VXStatusTableDependencies {
    NotificationCenter& notifications;
    const VXStatusResourceController& resources;
    std::shared_ptr<Bundle> mainBundle;      ///< may be null: then both switches are off
    std::function<QString()> initalFilePath; ///< the start-up log path // sic
    /// Creates the controller of the helper.
    std::function<std::shared_ptr<HelperToolController>()> helperController;
    /// Where the helper is installed.
    QString helperTool;
    /// Ends the process with status 0; does not return.
    std::function<void()> endProcess;
    AgentProcessSearch agentProcess = {};
};

/// The controller of the log table.
///
/// It reads what the agent appends to its log, turns it into rows for the table, and sets the texts
/// about the agent above the table. Created, used and destroyed on the main thread; updatelogs()
/// and handleNotification() may be called from any thread.
class VXStatusTableVC : public QObject {
    Q_OBJECT
    Q_PROPERTY(QString filepath READ filepath WRITE setFilepath)
    Q_PROPERTY(QString lastfilepath READ lastfilepath WRITE setLastfilepath)
    Q_PROPERTY(QString DATE READ DATE CONSTANT)
    Q_PROPERTY(QString TIME READ TIME CONSTANT)
    Q_PROPERTY(QString Message_Type READ Message_Type CONSTANT)
    Q_PROPERTY(QString Message READ Message CONSTANT)
    Q_PROPERTY(QString Component READ Component CONSTANT)

  public:
    /// Makes sure that the helper is installed, and ends the process if it cannot be. Then gets the
    /// start-up log path, registers for notifications, starts the first pass on a separate thread
    /// and asks for the agent's information. May take as long as the user needs to consent; the
    /// event loop runs while the helper is asked for its version.
    explicit VXStatusTableVC(VXStatusTableDependencies dependencies);

    /// Stops a pass in progress and waits for its end.
    ~VXStatusTableVC() override;

    // Outlets. Connected objects must outlive the controller or be destroyed as QObjects.
    void setTableview(QTableView* table);
    void setActivityIndicator(ActivityIndicator* indicator);
    void setLabel(QLabel* label) { label_ = label; }
    void setStatusImg(QLabel* image) { statusImg_ = image; }
    void setVersionlabel(QLabel* label) { versionlabel_ = label; }
    void setZelServerIpLabel(QLabel* label) { zelServerIpLabel_ = label; }
    /// Says why the table is empty, until its first row.
    void setEmptyTableLabel(QLabel* label);
    /// Names the followed log and the number of its rows, and a log that is newer.
    void setFooter(Footer* footer);

    /// Called once the outlets are connected: hides or shows the component column and starts to
    /// show whether the agent service runs. Blocks while it looks for the service.
    void awakeFromNib();

    /// Reads what was appended to the log since the last pass. Only one pass runs at a time.
    Q_INVOKABLE void updatelogs();

    /// Handles "VXStatusNotification", whose object is a dictionary with a log's path under
    /// "newLogFilePath": runs a pass on the calling thread.
    ///
    /// The path is adopted only if `lastfilepath` and `filepath` are not the same text object. They
    /// always are, so the start-up log remains the one that is read.
    void handleNotification(const Notification& notification);

    /// Handles "commandUpdate": shows the agent's version and management server, as reported by the
    /// agent's tool. Any thread; the texts change on the main thread, soon after.
    void populateDictionary();

    /// Not used by the program itself; part of the interface.
    [[nodiscard]] int numberOfRowsInTableView(const QTableView* table) const;

    /// The text of a cell; invalid if there is no such row.
    /// Not used by the program itself; part of the interface.
    [[nodiscard]] QVariant tableView(const QTableView* table,
                                     const QString& objectValueForTableColumn, int row) const;

    /// Ends the program. Not used by the program itself; part of the interface.
    Q_INVOKABLE void close(QObject* sender);

    /// Not used by the program itself; part of the interface.
    [[nodiscard]] LogTableModel& list() noexcept { return list_; }

    // The log that is read. Not used by the program itself; part of the interface.
    [[nodiscard]] QString filepath() const;
    void setFilepath(const QString& path);
    [[nodiscard]] QString lastfilepath() const;
    void setLastfilepath(const QString& path);
    /// The byte offset at which the next pass starts.
    /// Not used by the program itself; part of the interface.
    [[nodiscard]] std::uint64_t offset() const;

    // The titles of the columns. Not used by the program itself; part of the interface.
    [[nodiscard]] const QString& DATE() const noexcept { return DATE_; }
    [[nodiscard]] const QString& TIME() const noexcept { return TIME_; }
    [[nodiscard]] const QString& Message_Type() const noexcept { return messageType_; }
    [[nodiscard]] const QString& Message() const noexcept { return message_; }
    [[nodiscard]] const QString& Component() const noexcept { return component_; }

  private:
    /// The log that is being read.
    struct FollowedLog {
        QString filepath;
        QString lastfilepath;
        std::uint64_t offset = 0;
    };

    void prepareHelper();
    [[nodiscard]] bool isHelperInstalled();
    void takeInitialFilePath();
    void fetchTitles();
    void startFirstPass();
    void adopt(const QString& newPath);
    [[nodiscard]] bool isSwitchOn(const QString& key) const;
    void onMainThread(std::function<void(VXStatusTableVC&)> action);
    void startActivity();
    void finishPass(const QString& whyEmpty);
    void showPasses();
    [[nodiscard]] QString whyEmpty();
    void showFollowedLog();
    void showNewerLog(const QString& name);
    [[nodiscard]] QString text(const QString& key) const;
    void showAgentState(AgentState state);
    void showAgentInformation(const QString& versionLine, const QString& serverLine);

    VXStatusTableDependencies dependencies_;
    std::shared_ptr<Bundle> switches_;
    std::shared_ptr<HelperToolController> helperControllerObj_;
    bool helperInstalled_ = false;

    LogRows rows_;
    LogTableModel list_;
    mutable std::mutex followedMutex_; // held for a whole pass
    FollowedLog followed_;

    QString DATE_;
    QString TIME_;
    QString messageType_;
    QString message_;
    QString component_;

    QPointer<QTableView> tableview_;
    QPointer<ActivityIndicator> activityIndicator_;
    QPointer<QLabel> label_;
    QPointer<QLabel> statusImg_;
    QPointer<QLabel> versionlabel_;
    QPointer<QLabel> zelServerIpLabel_;
    QPointer<QLabel> emptyTableLabel_;
    QPointer<Footer> footer_;
    QString followedName_; // of the log, without its folder
    QTimer followedLogTimer_;
    bool isActive_ = false;
    QString whyEmpty_; // after the pass that ended last; null if there were rows
    OncePerFrame showing_{[this] { showPasses(); }}; // of the passes that have ended

    std::shared_ptr<VXStatusTableVC*> self_; // work posted to the main thread holds it weakly
    std::stop_source stop_;
    AgentProcessMonitor agentMonitor_;
    NotificationCenter::Registration newLogRegistration_;
    NotificationCenter::Registration commandUpdateRegistration_;
    std::thread firstPass_;
};

} // namespace veltra
