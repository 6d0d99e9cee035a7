#pragma once

#include <QString>

#include <functional>
#include <memory>
#include <mutex>

namespace veltra {

/// Hands what the agent's tool prints to the main thread. What waits there is bounded: if a tool
/// prints faster than it is shown, the newest is kept. Created and destroyed on the main thread.
class ToolOutput {
  public:
    /// How much of a tool's output is kept, here and where it is shown.
    static constexpr qsizetype mostCharacters = 100'000;

    /// `show` is called on the main thread, with what was added since its last call.
    explicit ToolOutput(std::function<void(const QString& text)> show);

    /// Any thread.
    void add(const QString& text);

  private:
    struct Waiting;
    std::shared_ptr<Waiting> waiting_; // posted work holds it weakly
};

} // namespace veltra
