#include "Base/FileDescriptor.hpp"

#include <fcntl.h>

namespace {
bool isOpen(int descriptor) { return fcntl(descriptor, F_GETFD) >= 0; }
int openSomething() { return open("/dev/null", O_RDONLY | O_CLOEXEC); }
}  // namespace

TEST(FileDescriptor, ClosesWhatItHolds) {
    const int number = openSomething();
    {
        const base::FileDescriptor descriptor(number);
        EXPECT_TRUE(static_cast<bool>(descriptor));
    }
    EXPECT_FALSE(isOpen(number));
}

TEST(FileDescriptor, MovesAndReleasesWithoutClosing) {
    base::FileDescriptor first(openSomething());
    const int number = first.get();
    base::FileDescriptor second(std::move(first));
    EXPECT_EQ(first.get(), -1);
    EXPECT_TRUE(isOpen(number));
    base::FileDescriptor third(openSomething());
    const int replaced = third.get();
    third = std::move(second);
    EXPECT_FALSE(isOpen(replaced));
    EXPECT_EQ(third.get(), number);
    EXPECT_EQ(third.release(), number);
    EXPECT_TRUE(isOpen(number));
    third.reset(number);
    third.reset();
    EXPECT_FALSE(isOpen(number));
}
