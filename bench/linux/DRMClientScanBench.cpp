// Cost of the per-process GPU time walk over DRM fdinfo: every descriptor
// of every process is looked at, which makes it the dearest read of a pass.
// Measured on this machine's own process table (telling DRM descriptors
// apart by their link, as the port does, against opening every fdinfo),
// and on a synthetic tree of processes holding DRM clients.

#include <benchmark/benchmark.h>

#include <unistd.h>

#include <cctype>
#include <filesystem>
#include <fstream>
#include <string>

#include "PrivateAPIs/linux/AttributeDirectory.h"
#include "Sampling/linux/DRMClientScan.h"

namespace {

namespace fs = std::filesystem;

// Reads every fdinfo file of every process: what the walk would cost
// without the readlink filter.
size_t readEveryFdinfo(const fs::path& proc) {
    size_t bytes = 0;
    std::error_code error;
    for (fs::directory_iterator p(proc, error), end; !error && p != end; p.increment(error)) {
        std::error_code inner;
        for (fs::directory_iterator f(p->path() / "fdinfo", inner), e; !inner && f != e; f.increment(inner)) {
            if (auto text = orv::AttributeDirectory::read(f->path())) bytes += text->size();
        }
    }
    return bytes;
}

void BM_ScanThisMachine(benchmark::State& state) {
    size_t processes = 0;
    for (const auto& entry : fs::directory_iterator(fs::path("/") / "proc")) {
        processes += std::isdigit(static_cast<unsigned char>(entry.path().filename().string()[0])) ? 1 : 0;
    }
    for (auto _ : state) benchmark::DoNotOptimize(orv::DRMClientScan::processNanoseconds("/"));
    state.counters["processes"] = double(processes);
}
BENCHMARK(BM_ScanThisMachine)->Unit(benchmark::kMillisecond);

void BM_ReadEveryFdinfoThisMachine(benchmark::State& state) {
    for (auto _ : state) benchmark::DoNotOptimize(readEveryFdinfo(fs::path("/") / "proc"));
}
BENCHMARK(BM_ReadEveryFdinfoThisMachine)->Unit(benchmark::kMillisecond);

// `processes` processes with 20 descriptors each, two of them DRM clients.
struct SyntheticTree {
    fs::path root;
    explicit SyntheticTree(int processes) {
        root = fs::temp_directory_path() / ("orvantine-drm-bench-" + std::to_string(::getpid()));
        fs::remove_all(root);
        fs::create_directories(root / "sys/class/drm/renderD128");
        for (int pid = 1; pid <= processes; ++pid) {
            fs::path p = root / "proc" / std::to_string(pid);
            fs::create_directories(p / "fd");
            fs::create_directories(p / "fdinfo");
            for (int fd = 0; fd < 20; ++fd) {
                bool drm = fd >= 18;
                fs::create_symlink(drm ? "/dev/dri/renderD128" : "/dev/null", p / "fd" / std::to_string(fd));
                std::ofstream(p / "fdinfo" / std::to_string(fd))
                    << "pos:\t0\nflags:\t02100002\nmnt_id:\t24\n"
                    << (drm ? "drm-driver:\tamdgpu\ndrm-pdev:\t0000:03:00.0\ndrm-client-id:\t" +
                                  std::to_string(pid * 2 + fd) + "\ndrm-engine-gfx:\t1500000 ns\n"
                            : std::string());
            }
        }
    }
    ~SyntheticTree() { fs::remove_all(root); }
};

void BM_ScanSyntheticTree(benchmark::State& state) {
    SyntheticTree tree(static_cast<int>(state.range(0)));
    for (auto _ : state) benchmark::DoNotOptimize(orv::DRMClientScan::processNanoseconds(tree.root));
    state.counters["processes"] = double(state.range(0));
}
BENCHMARK(BM_ScanSyntheticTree)->Arg(200)->Arg(1000)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
