#pragma once

#include <chrono>
#include <memory>
#include <optional>
#include <string>

#include "Sampling/DevServerPort.h"
#include "Sampling/HelperTransport.h"
#include "core/Logger.h"

namespace orv {

// Listening ports through the privileged helper (Linux), which reads every
// user's descriptors; the local port answers whenever the helper does not
// within a second, and for each process's details.
class HelperDevServerPort : public DevServerPort {
public:
    static constexpr std::chrono::milliseconds replyLimit{1000};

    HelperDevServerPort(std::unique_ptr<DevServerPort> local, std::optional<std::string> teamID,
                        std::shared_ptr<HelperTransport> transport = makeHelperTransport());

    std::vector<ListeningPort> listeningPorts() override;
    std::optional<DevProcessDetails> details(int32_t pid) override { return local_->details(pid); }

    // Whether the last listing came from the helper.
    bool lastFromHelper() const { return lastFromHelper_; }

private:
    std::optional<std::vector<ListeningPort>> askHelper();

    std::unique_ptr<DevServerPort> local_;
    std::optional<std::string> requirement_;
    std::shared_ptr<HelperTransport> transport_;
    bool lastFromHelper_ = false;
    Logger log_{"app.orvantine.sampling", "helper"};
};

}  // namespace orv
