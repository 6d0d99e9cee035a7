#include "watch/VXStatusQueueCentral.h"

#include "platform/base/Folder.h"
#include "platform/desktop/FileName.h"
#include "platform/log/SystemLog.h"
#include "watch/WatcherNotifications.h"

#include <QCoreApplication>

#include <algorithm>
#include <chrono>
#include <exception>
#include <system_error>
#include <thread>
#include <utility>

#include <sys/resource.h>

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

// Whether the error may pass when something else is closed or no longer watched.
bool isUsedUpLimit(const Error& error)
{
    return error.code() == std::errc::too_many_files_open ||
           error.code() == std::errc::too_many_files_open_in_system ||
           error.code() == std::errc::no_space_on_device ||
           error.code() == std::errc::not_enough_memory;
}

// Descriptors are given out from the lowest. Some must be left to read the logs, and for all else.
bool leavesRoom(int descriptor)
{
    constexpr rlim_t reserve = 64;
    rlimit limit{};
    ::getrlimit(RLIMIT_NOFILE, &limit);
    return static_cast<rlim_t>(descriptor) < limit.rlim_cur - std::min(reserve, limit.rlim_cur / 4);
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
    if (!queue) {
        SystemLog::log({"Not watching anything: ", queue.error().message()});
        return nullptr;
    }
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
    nextTry_.setSingleShot(true);
    connect(&nextTry_, &QTimer::timeout, this, &VXStatusQueueCentral::tryAgain);
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
        auto opened = open(path, notifyingAbout);
        if (!opened) {
            keepForLater(path, opened.error(), {notifyingAbout});
            return nullptr;
        }
        entry = std::move(opened.value());
    }
    submit(entry, notes);
    startThreadOnce();
    return entry;
}

Result<std::shared_ptr<VXStatusQueuePathEntry>>
VXStatusQueueCentral::open(const QString& path, std::uint32_t notes) const
{
    constexpr std::string_view action = "open";
    auto entry = VXStatusQueuePathEntry::initWithPath(path, notes);
    if (!entry)
        return Error::last(action, bytesOfPath(path));
    if (!leavesRoom(entry->watchedFD()))
        return Error{std::make_error_code(std::errc::too_many_files_open), action,
                     bytesOfPath(path)};
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
    else
        keepForLater(entry->path(), registration.error());
}

void VXStatusQueueCentral::keepForLater(const QString& path, const Error& error,
                                        std::vector<std::uint32_t> requests)
{
    if (!isUsedUpLimit(error))
        return;
    const auto known = std::ranges::find(unwatched_, path, &Unwatched::path);
    if (known == unwatched_.end())
        unwatched_.push_back({.path = path, .requests = std::move(requests), .error = error});
    else
        known->requests.insert(known->requests.end(), requests.begin(), requests.end());
    QMetaObject::invokeMethod(this, &VXStatusQueueCentral::tryAgainLater, Qt::QueuedConnection);
}

bool VXStatusQueueCentral::isUnwatched(const QString& path) const
{
    return std::ranges::find(unwatched_, path, &Unwatched::path) != unwatched_.end();
}

void VXStatusQueueCentral::tryAgainLater()
{
    const std::lock_guard lock{mutex_};
    for (Unwatched& each : unwatched_)
        if (!std::exchange(each.isLogged, true))
            SystemLog::log({"Not watching ", bytesOfPath(each.path), ": ", each.error.message()});
    if (!unwatched_.empty() && !nextTry_.isActive())
        nextTry_.start(dependencies_.retryInterval);
}

void VXStatusQueueCentral::tryAgain()
{
    const std::lock_guard lock{mutex_};
    bool isBehind = false;
    for (Unwatched& each : std::exchange(unwatched_, {})) {
        for (const std::uint32_t notes : each.requests)
            addPathToQueue(each.path, notes);
        if (const Entry entry = this->entry(each.path); entry && !entry->registration())
            submit(entry, entry->subscriptionFlags());

        if (isUnwatched(each.path)) {
            unwatched_.back().isLogged = true;
            continue;
        }
        isBehind = true;
        SystemLog::log({"Watching ", bytesOfPath(each.path), " after all"});
    }
    if (isBehind)
        catchUp();
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
    if (found != watchedFiles_.end() && !found->second->releasePath())
        return;
    watchedFiles_.erase(path);
    std::erase_if(unwatched_, [&path](const Unwatched& each) { return each.path == path; });
}

void VXStatusQueueCentral::removeAllPaths()
{
    const std::lock_guard lock{mutex_};
    watchedFiles_.clear();
    unwatched_.clear();
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

bool VXStatusQueueCentral::hasUnwatchedPaths() const
{
    const std::lock_guard lock{mutex_};
    return !unwatched_.empty();
}

// The pass that follows runs on the watcher's thread, like any other.
void VXStatusQueueCentral::catchUp()
{
    isBehind_ = true;
    queue_->interrupt();
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
    const bool wasBehind = isBehind_.exchange(false);
    if (wasBehind)
        postNewestLog();
    // Waiting may fail at once, for example if the kernel is out of memory. The thread must
    // continue then, but not in a busy loop.
    if (!event && !wasBehind && keepThreadRunning_)
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
