#include "watch/VXStatusQueueCentral.h"

#include "platform/base/Folder.h"
#include "platform/log/SystemLog.h"
#include "watch/WatcherNotifications.h"

#include <QCoreApplication>

#include <chrono>
#include <exception>
#include <thread>
#include <utility>

namespace veltra {

namespace {

const QByteArray postSelector = QByteArrayLiteral("postNotificationName:object:userInfo:");

QString withoutTrailingSlash(const std::string& folder)
{
    QString path = QString::fromStdString(folder);
    while (path.size() > 1 && path.endsWith(u'/'))
        path.chop(1);
    return path;
}

// A file's name may contain line breaks; a description must not.
QString inOneLine(const QString& path)
{
    QString line;
    for (const QChar each : path) {
        const auto category = each.category();
        const bool breaksLine = category == QChar::Other_Control ||
                                category == QChar::Separator_Line ||
                                category == QChar::Separator_Paragraph;
        line += breaksLine ? QStringLiteral("\\u%1").arg(each.unicode(), 4, 16, QChar{u'0'})
                           : QString{each};
    }
    return line;
}

} // namespace

std::unique_ptr<VXStatusQueueCentral>
VXStatusQueueCentral::init(VXStatusQueueDependencies dependencies)
{
    auto queue = KernelQueue::open();
    if (!queue)
        return nullptr;
    return std::make_unique<VXStatusQueueCentral>(std::move(queue.value()),
                                                  std::move(dependencies));
}

VXStatusQueueCentral::VXStatusQueueCentral(std::unique_ptr<KernelQueue> queue,
                                           VXStatusQueueDependencies dependencies)
    : queue_{std::move(queue)}, dependencies_{std::move(dependencies)},
      sharedNotificationCenterProxy_{copyMainThreadProxy(&dependencies_.notifications)},
      oldSharedNotificationCenterProxy_{
          copyMainThreadProxy(&dependencies_.workspace.notificationCenter())}
{
}

VXStatusQueueCentral::~VXStatusQueueCentral()
{
    stop();
    removeAllPaths();
}

void VXStatusQueueCentral::stop()
{
    keepThreadRunning_ = false;
    queue_->interrupt();
    // The thread may be waiting for the main thread, so the main thread must process its work
    // meanwhile.
    while (thread_.valid() &&
           thread_.wait_for(std::chrono::milliseconds{1}) == std::future_status::timeout)
        QCoreApplication::processEvents(QEventLoop::ExcludeUserInputEvents);
}

void VXStatusQueueCentral::addPath(const QString& path)
{
    addPath(path, allNotes);
}

void VXStatusQueueCentral::addPath(const QString& path, std::uint32_t notifyingAbout)
{
    addPathToQueue(path, notifyingAbout);
}

std::shared_ptr<VXStatusQueuePathEntry>
VXStatusQueueCentral::addPathToQueue(const QString& path, std::uint32_t notifyingAbout)
{
    const std::lock_guard lock{mutex_};
    Entry entry = this->entry(path);
    std::uint32_t notes = notifyingAbout;
    if (entry) {
        entry->retainPath();
        if ((entry->subscriptionFlags() & notifyingAbout) == notifyingAbout)
            return entry;
        notes |= entry->subscriptionFlags();
    } else {
        entry = VXStatusQueuePathEntry::initWithPath(path, notifyingAbout);
        if (!entry)
            return nullptr;
    }
    submit(entry, notes);
    startThreadOnce();
    return entry;
}

// A path that the kernel cannot watch stays in the table but never reports a change.
void VXStatusQueueCentral::submit(const Entry& entry, std::uint32_t notes)
{
    entry->setSubscriptionFlags(notes);
    watchedFiles_[entry->path()] = entry;
    if (entry->registration()) {
        entry->registration().setFlags(notes);
        return;
    }
    auto registration = queue_->watch(entry->watchedFD(), notes, entry);
    if (registration)
        entry->setRegistration(std::move(registration.value()));
}

void VXStatusQueueCentral::startThreadOnce()
{
    if (keepThreadRunning_)
        return;
    keepThreadRunning_ = true;
    thread_ = std::async(std::launch::async, [this] { watcherThread(); });
}

void VXStatusQueueCentral::removePath(const QString& path)
{
    const std::lock_guard lock{mutex_};
    const auto found = watchedFiles_.find(path);
    if (found != watchedFiles_.end() && found->second->releasePath())
        watchedFiles_.erase(found);
}

void VXStatusQueueCentral::removeAllPaths()
{
    const std::lock_guard lock{mutex_};
    watchedFiles_.clear();
}

void VXStatusQueueCentral::addFolerPath(const QString& /*path*/)
{
    const QString folder = withoutTrailingSlash(dependencies_.installation.logFolder);
    auto names = contentsOfDirectory(folder.toStdString());
    filesinWatchedFolder_ = names ? std::move(names.value()) : std::vector<std::string>{};
}

std::shared_ptr<VXStatusQueuePathEntry> VXStatusQueueCentral::entry(const QString& path) const
{
    const std::lock_guard lock{mutex_};
    const auto found = watchedFiles_.find(path);
    return found == watchedFiles_.end() ? nullptr : found->second;
}

std::size_t VXStatusQueueCentral::watchedFileCount() const
{
    const std::lock_guard lock{mutex_};
    return watchedFiles_.size();
}

QString VXStatusQueueCentral::descriptionWithLocale(const QString& /*locale*/, int indent) const
{
    const std::lock_guard lock{mutex_};
    const QString margin{qsizetype{4} * indent, u' '};
    QString files = QStringLiteral("{");
    for (const auto& [path, entry] : watchedFiles_)
        files += QStringLiteral("\"%1\" = <%2 holders>; ")
                     .arg(inOneLine(path), QString::number(entry->pathRefCount()));
    files += u'}';
    return margin + QStringLiteral("VXStatusQueueCentral") + margin + u'{' + margin +
           QStringLiteral("watchedFiles = ") + files + margin + u'}';
}

void VXStatusQueueCentral::watcherThread()
{
    const std::shared_ptr<KernelQueue> queue = queue_;
    while (keepThreadRunning_) {
        try {
            handleNextEvent(*queue);
        } catch (const std::exception& error) {
            // When the program ends, the main thread no longer runs posted work, so this is no
            // error.
            if (keepThreadRunning_)
                SystemLog::log({"Error in VXStatusQueue watcherThread: ", error.what()});
        }
    }
}

void VXStatusQueueCentral::handleNextEvent(KernelQueue& queue)
{
    const auto event = queue.wait();
    // Waiting may fail at once, for example if the kernel is out of memory. The thread must
    // continue then, but not in a busy loop.
    if (!event && keepThreadRunning_)
        std::this_thread::sleep_for(std::chrono::milliseconds{100});
    if (!event || event->filter != EVFILT_VNODE || event->fflags == 0)
        return;
    handle(*std::static_pointer_cast<VXStatusQueuePathEntry>(event->udata), event->fflags);
}

void VXStatusQueueCentral::handle(const VXStatusQueuePathEntry& entry, std::uint32_t notes)
{
    const QString& path = entry.path();
    dependencies_.workspace.noteFileSystemChanged(path);
    for (const auto& [note, name] : watcherNotifications())
        if (notes & note)
            handleNote(note, name, path);
}

void VXStatusQueueCentral::handleNote(std::uint32_t note, const QString& name, const QString& path)
{
    postNotification(name, path);
    if (note == NOTE_WRITE)
        dependencies_.pathReceiver().addpath(postNewestLog());
    else if (note == NOTE_EXTEND)
        postNewestLog();
}

// Whichever path changed, the newest log is announced; that is how a log created later is noticed
// through its folder.
QString VXStatusQueueCentral::postNewestLog()
{
    QString path = QString::fromStdString(dependencies_.installation.logFolder) +
                   dependencies_.resources.getLogFileName();
    const QVariantMap dictionary{{QStringLiteral("newLogFilePath"), path}};
    dependencies_.notifications.postNotificationName(QStringLiteral("VXStatusNotification"),
                                                     dictionary);
    return path;
}

void VXStatusQueueCentral::postNotification(const QString& name, const QString& forFile)
{
    const QVariant sender = QVariant::fromValue<QObject*>(this);
    const QVariantMap userInfo{{QStringLiteral("path"), forFile}};
    for (const auto& center : {sharedNotificationCenterProxy_, oldSharedNotificationCenterProxy_})
        center->forwardInvocation(postSelector, {name, sender, userInfo});
}

} // namespace veltra
