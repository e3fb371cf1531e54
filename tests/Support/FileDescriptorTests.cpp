#include "Support/FileDescriptor.h"

#include <gtest/gtest.h>

#include <fcntl.h>

namespace {

bool isOpen(int fd) {
    return ::fcntl(fd, F_GETFD) != -1;
}

std::pair<int, int> makePipe() {
    int ends[2] = {-1, -1};
    EXPECT_EQ(::pipe2(ends, O_CLOEXEC), 0);
    return {ends[0], ends[1]};
}

TEST(FileDescriptor, ClosesWhatItOwnsOnceWhenItGoesAwayOrIsReset) {
    auto [readEnd, writeEnd] = makePipe();
    {
        Support::FileDescriptor owner(readEnd);
        EXPECT_TRUE(owner);
        owner.reset(writeEnd);
        EXPECT_FALSE(isOpen(readEnd));
        EXPECT_TRUE(isOpen(writeEnd));
    }
    EXPECT_FALSE(isOpen(writeEnd));
    EXPECT_FALSE(Support::FileDescriptor(-1));
    EXPECT_FALSE(Support::FileDescriptor(-7).isValid());
}

TEST(FileDescriptor, MovingHandsOwnershipOverAndReleaseGivesItUp) {
    auto [readEnd, writeEnd] = makePipe();
    Support::FileDescriptor first(readEnd);
    Support::FileDescriptor second(writeEnd);
    second = std::move(first); // closes the write end, takes the read end
    EXPECT_FALSE(first);
    EXPECT_EQ(second.get(), readEnd);
    EXPECT_FALSE(isOpen(writeEnd));

    int released = second.release();
    EXPECT_FALSE(second);
    EXPECT_TRUE(isOpen(released));
    Support::FileDescriptor again(released);
    EXPECT_EQ(again.close(), 0);
    EXPECT_FALSE(isOpen(released));
    EXPECT_EQ(again.close(), 0) << "closing an empty one is harmless";
}

} // namespace
