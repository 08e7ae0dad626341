// The closer that a one-pass run hands its proc files to.
#include <gtest/gtest.h>

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <vector>

#include "Sampling/linux/DescriptorCloser.h"

namespace orv {
namespace {

// A pipe whose read end tells, without blocking, whether every copy of the
// write end has been closed: end of file then, EAGAIN while one is open.
struct WatchedPipe {
    int readEnd = -1;
    int writeEnd = -1;
    WatchedPipe() {
        int ends[2];
        if (::pipe2(ends, O_CLOEXEC | O_NONBLOCK) == 0) {
            readEnd = ends[0];
            writeEnd = ends[1];
        }
    }
    ~WatchedPipe() { ::close(readEnd); }
    bool writeEndClosed() const {
        char byte;
        return ::read(readEnd, &byte, 1) == 0;
    }
};

TEST(DescriptorCloser, ClosesWhatIsLeftWhenDestroyed) {
    WatchedPipe pipe;
    ASSERT_GE(pipe.writeEnd, 0);
    {
        DescriptorCloser closer;
        closer.close(pipe.writeEnd);
        EXPECT_FALSE(pipe.writeEndClosed());  // gathered, not yet a batch
    }
    EXPECT_TRUE(pipe.writeEndClosed());
}

TEST(DescriptorCloser, AFullBatchIsClosedOnItsThreadWhileTheCallerGoesOn) {
    std::vector<WatchedPipe> pipes(DescriptorCloser::batchSize);
    DescriptorCloser closer;
    for (auto& pipe : pipes) {
        ASSERT_GE(pipe.writeEnd, 0);
        closer.close(pipe.writeEnd);
    }
    // The batch went to the thread when it filled; wait for it, boundedly.
    for (int i = 0; i < 2000 && !pipes.back().writeEndClosed(); ++i) ::usleep(1000);
    for (auto& pipe : pipes) EXPECT_TRUE(pipe.writeEndClosed());
}

TEST(DescriptorCloser, FlushHandsOverAPartialBatch) {
    WatchedPipe pipe;
    ASSERT_GE(pipe.writeEnd, 0);
    DescriptorCloser closer;
    closer.close(pipe.writeEnd);
    closer.flush();
    for (int i = 0; i < 2000 && !pipe.writeEndClosed(); ++i) ::usleep(1000);
    EXPECT_TRUE(pipe.writeEndClosed());
}

}  // namespace
}  // namespace orv
