#include "app/window/ToolOutput.h"

#include "platform/desktop/MainQueue.h"

#include <utility>

namespace veltra {

struct ToolOutput::Waiting {
    std::function<void(const QString&)> show;
    std::mutex mutex;
    QString text; // guarded by the mutex

    void deliver()
    {
        QString added;
        {
            const std::lock_guard lock{mutex};
            added = std::exchange(text, {});
        }
        show(added);
    }
};

ToolOutput::ToolOutput(std::function<void(const QString& text)> show)
    : waiting_{std::make_shared<Waiting>()}
{
    waiting_->show = std::move(show);
}

void ToolOutput::add(const QString& text)
{
    if (text.isEmpty())
        return;
    const std::lock_guard lock{waiting_->mutex};
    const bool isFirst = waiting_->text.isEmpty();
    waiting_->text = (waiting_->text + text).right(mostCharacters);
    if (isFirst)
        MainQueue::post([weak = std::weak_ptr{waiting_}] {
            if (const auto waiting = weak.lock())
                waiting->deliver();
        });
}

} // namespace veltra
