// The programs take the C++ runtime from its archive: the shared libstdc++
// would be the largest library a live view maps. A C++ library added to what
// they load at start would bring the shared runtime back beside the linked
// one, unseen but for the memory, so the libraries the dynamic linker loads
// for each program are checked here.

#include <gtest/gtest.h>

#include <cstdio>
#include <filesystem>
#include <string>

namespace orv {
namespace {

// What the dynamic linker loads for `program`, one library a line, as ldd
// prints it, without running the program.
std::string loadedLibraries(const std::filesystem::path& program) {
    std::string command = "LD_TRACE_LOADED_OBJECTS=1 '" + program.string() + "' 2>&1";
    std::string out;
    if (FILE* pipe = popen(command.c_str(), "r")) {
        char buffer[512];
        while (size_t n = fread(buffer, 1, sizeof buffer, pipe)) out.append(buffer, n);
        pclose(pipe);
    }
    return out;
}

TEST(ProgramRuntime, TheProgramsLoadNoSharedCxxRuntime) {
#ifndef ORVANTINE_STATIC_CXX_RUNTIME
    GTEST_SKIP() << "this build takes the shared C++ runtime (a sanitizer's build, or not GCC)";
#endif
    const std::filesystem::path binaries(ORVANTINE_BINARY_DIR);
    for (auto program : {binaries / "cli" / "orvantine", binaries / "helper" / "OrvantineHelper"}) {
        const auto libraries = loadedLibraries(program);
        ASSERT_NE(libraries.find("libc.so"), std::string::npos) << program << ":\n" << libraries;
        EXPECT_EQ(libraries.find("libstdc++"), std::string::npos) << program << ":\n" << libraries;
        EXPECT_EQ(libraries.find("libgcc_s"), std::string::npos) << program << ":\n" << libraries;
    }
}

}  // namespace
}  // namespace orv
