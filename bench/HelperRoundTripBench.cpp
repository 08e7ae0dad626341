// One process sample through the privileged helper (its pass, JSON
// encoding, the socket, decoding) against the same pass in process, at
// about 2,000 processes. The goal: the helper adds at most 1 µs per
// process to a sample. Also printed: the round trip of the smallest
// request (the version), which is what the socket and the hand-offs
// between threads cost with no data to speak of, and the JSON coding
// alone, beside the document writer it replaced.
//
//   HelperRoundTripBench [--processes N] [--passes N] [--helper PATH]
//
// Sleeping children are started to bring the machine to N processes
// (2,000 by default). The helper is the test-team build beside this
// program (build/helper/OrvantineHelperTestTeam), on a temporary socket.
#include <signal.h>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <future>
#include <string>
#include <vector>

#include "Sampling/HelperIdentity.h"
#include "Sampling/HelperProcessSource.h"
#include "Sampling/ProcessSampler.h"
#include "bench/BenchSupport.h"
#include "core/JsonCoding.h"
#include "core/RecordArrayDecoder.h"

extern char** environ;

using Clock = std::chrono::steady_clock;

using orv::bench::median;
using orv::bench::startIdleChildren;

namespace {

template <class F>
std::vector<double> timeMilliseconds(int passes, F work) {
    std::vector<double> out;
    for (int i = 0; i < passes; ++i) {
        auto start = Clock::now();
        work();
        out.push_back(std::chrono::duration<double, std::milli>(Clock::now() - start).count());
    }
    return out;
}

}  // namespace

int main(int argc, char** argv) {
    int target = 2000, passes = 30;
    std::string helperPath = (std::filesystem::path(argv[0]).parent_path() / "../helper/OrvantineHelperTestTeam").string();
    for (int i = 1; i + 1 < argc; ++i) {
        if (!std::strcmp(argv[i], "--processes")) target = std::atoi(argv[++i]);
        else if (!std::strcmp(argv[i], "--passes")) passes = std::max(3, std::atoi(argv[++i]));
        else if (!std::strcmp(argv[i], "--helper")) helperPath = argv[++i];
    }
    if (access(helperPath.c_str(), X_OK) != 0) {
        std::fprintf(stderr, "HelperRoundTripBench: no helper at %s (build OrvantineHelperTestTeam)\n", helperPath.c_str());
        return 1;
    }

    auto local = std::make_shared<orv::ProcessSampler>();
    const int present = int(local->sample().get().size());
    auto children = startIdleChildren(std::max(0, target - present));
    usleep(300'000);  // let the children reach pause()

    char dirTemplate[] = "/tmp/orvantine-bench-XXXXXX";
    std::string dir = mkdtemp(dirTemplate);
    std::string socket = dir + "/helper.sock";
    std::vector<std::string> args{helperPath, "--socket", socket, "--startup-seconds", "600", "--idle-seconds", "600"};
    std::vector<char*> argv2;
    for (auto& a : args) argv2.push_back(a.data());
    argv2.push_back(nullptr);
    pid_t helper = -1;
    posix_spawn(&helper, argv2[0], nullptr, nullptr, argv2.data(), environ);
    for (int i = 0; i < 200 && access(socket.c_str(), F_OK) != 0; ++i) usleep(10'000);

    auto source = orv::HelperProcessSource::make(local, std::string("ORVTEST001"), orv::makeHelperTransport({socket, ::geteuid()}));
    source->setEnabled(true);

    // Warm both: caches filled, descriptors kept, connection made.
    auto warm = source->sampleWithOrigin().get();
    std::vector<orv::ProcessReading> readings = local->sample().get();
    local->sample().get();
    source->sampleWithOrigin().get();

    // Interleaved, so that whatever else the machine does weighs on both alike.
    bool allFromHelper = true;
    std::vector<double> localMs, helperMs;
    for (int i = 0; i < passes; ++i) {
        localMs.push_back(timeMilliseconds(1, [&] { readings = local->sample().get(); })[0]);
        helperMs.push_back(timeMilliseconds(1, [&] {
            auto answer = source->sampleWithOrigin().get();
            allFromHelper &= answer.origin == orv::HelperProcessSource::Origin::helper;
        })[0]);
    }
    // The smallest request on its own connection: the socket and the
    // threads' hand-offs with nothing to encode.
    auto transport = orv::makeHelperTransport({socket, ::geteuid()});
    auto connection = transport->connect(
        orv::HelperIdentity::requirement(orv::HelperIdentity::helperBundleID, std::string("ORVTEST001")).value_or(""));
    connection->resume();
    auto versionOnce = [&] {
        std::promise<void> answered;
        connection->send(
            orv::HelperProtocol::Method::version, [&](std::optional<std::string>) { answered.set_value(); },
            [&](const std::string&) { answered.set_value(); });
        answered.get_future().wait();
    };
    versionOnce();
    auto versionMs = timeMilliseconds(passes * 10, versionOnce);
    connection->invalidate();

    std::string encoded;
    auto encodeMs = timeMilliseconds(passes, [&] { encoded = orv::json::encode(readings); });
    auto documentEncodeMs = timeMilliseconds(passes, [&] { (void)orv::json::encodeThroughValue(readings); });
    auto decodeMs = timeMilliseconds(passes, [&] { orv::json::decode<std::vector<orv::ProcessReading>>(encoded); });
    // The client's decoder on a reply whose records all read as last time.
    orv::json::RecordArrayDecoder<orv::ProcessReading> reusing;
    (void)reusing.decode(encoded);
    auto reuseMs = timeMilliseconds(passes, [&] { (void)reusing.decode(encoded); });

    source->setEnabled(false);
    kill(helper, SIGKILL);
    waitpid(helper, nullptr, 0);
    for (pid_t c : children) kill(c, SIGKILL);
    for (pid_t c : children) waitpid(c, nullptr, 0);
    std::filesystem::remove_all(dir);

    const double l = median(localMs), h = median(helperMs);
    std::printf("processes                      %zu (helper's sample: %zu)\n", readings.size(), warm.readings.size());
    std::printf("reply size                     %.0f KB\n", double(encoded.size()) / 1024.0);
    std::printf("local pass, warm (median)      %.2f ms\n", l);
    std::printf("through the helper (median)    %.2f ms%s\n", h, allFromHelper ? "" : "  (some answers were local!)");
    std::printf("  of which JSON encode         %.2f ms (through a Boost.JSON document: %.2f ms)\n", median(encodeMs),
                median(documentEncodeMs));
    std::printf("  of which JSON decode         %.2f ms (of an unchanged reply, reusing the last: %.2f ms)\n",
                median(decodeMs), median(reuseMs));
    std::printf("  smallest request's round trip %.3f ms\n", median(versionMs));
    // Each helper pass is set against the local pass just before it, so a
    // slow spell of the machine weighs on both sides of a difference.
    std::vector<double> differences;
    for (size_t i = 0; i < localMs.size(); ++i) differences.push_back(helperMs[i] - localMs[i]);
    std::sort(differences.begin(), differences.end());
    const double perProcess = 1000.0 / double(std::max<size_t>(1, readings.size()));
    const double added = median(differences);
    std::printf("helper adds                    %+.2f ms, %+.2f µs per process (goal: at most 1 µs)\n", added,
                added * perProcess);
    std::printf("  paired differences, quartiles %+.2f / %+.2f ms; medians' difference %+.2f ms\n",
                differences[differences.size() / 4], differences[differences.size() * 3 / 4], h - l);
    return 0;
}
