#pragma once

#include "channel/client/HelperToolController.h"

#include <memory>
#include <vector>

namespace veltra {

/// Makes the program's controllers of the helper. Their connections hold them, and they hold their
/// connections; both are let go of when this goes. Main thread only.
class HelperControllers {
  public:
    HelperControllers();
    HelperControllers(const HelperControllers&) = delete;
    HelperControllers& operator=(const HelperControllers&) = delete;
    ~HelperControllers();

    [[nodiscard]] std::shared_ptr<HelperToolController> make();

  private:
    HelperToolController::Surroundings surroundings_;
    std::vector<std::weak_ptr<HelperToolController>> made_;
};

} // namespace veltra
