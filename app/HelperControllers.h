#pragma once

#include "channel/client/HelperToolController.h"

#include <functional>
#include <memory>
#include <vector>

namespace veltra {

/// Creates the program's controllers of the helper. The controllers and their connections keep each
/// other alive; destroying this object releases both. Main thread only.
class HelperControllers {
  public:
    /// `outputTaken` receives what the agent's tool prints, on the connections' thread.
    explicit HelperControllers(std::function<void(const QString&)> outputTaken);
    HelperControllers(const HelperControllers&) = delete;
    HelperControllers& operator=(const HelperControllers&) = delete;
    ~HelperControllers();

    [[nodiscard]] std::shared_ptr<HelperToolController> make();

  private:
    HelperToolController::Dependencies dependencies_;
    std::vector<std::weak_ptr<HelperToolController>> made_;
};

} // namespace veltra
