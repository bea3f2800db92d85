#include "zddscore/host.h"

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cstring>
#include <set>
#include <string>
#include <vector>

namespace {

TEST(Host, NameIsTheSystemsAndIsCutToTheBuffer) {
    char expected[256] = "";
    ASSERT_EQ(gethostname(expected, sizeof expected - 1), 0);
    char name[256];
    EXPECT_EQ(ORXOsapiHost_getHostName(name, sizeof name), 0);
    EXPECT_STREQ(name, expected);
    char cut[3] = {'x', 'x', 'x'};
    EXPECT_EQ(ORXOsapiHost_getHostName(cut, sizeof cut), 0);
    EXPECT_EQ(cut, std::string(expected).substr(0, 2));
    EXPECT_EQ(ORXOsapiHost_getHostName(cut, 1), 0);
    EXPECT_STREQ(cut, "");
    EXPECT_EQ(ORXOsapiHost_getHostName(cut, 0), -1);
    EXPECT_EQ(ORXOsapiHost_getHostName(nullptr, 10), -1);
}

using Words = std::array<ORX_UINT32, 3>;

Words makeUuid() {
    ORXOsapiUuid uuid{};
    EXPECT_TRUE(ORXOsapiHost_generate_uuid(&uuid));
    return {uuid[0], uuid[1], uuid[2]};
}

TEST(Host, UuidDiffersAtEachCall) {
    std::set<Words> seen;
    for (int i = 0; i < 10000; ++i)
        EXPECT_TRUE(seen.insert(makeUuid()).second);
    EXPECT_FALSE(ORXOsapiHost_generate_uuid(nullptr));
}

TEST(Host, UuidDiffersAcrossAFork) {
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    makeUuid();
    const pid_t child = fork();
    if (child == 0) {
        const Words words = makeUuid();
        _exit(write(ends[1], &words, sizeof words) == sizeof words ? 0 : 1);
    }
    const Words parents = makeUuid();
    Words childs{};
    ASSERT_EQ(read(ends[0], &childs, sizeof childs), static_cast<ssize_t>(sizeof childs));
    int status = 0;
    waitpid(child, &status, 0);
    EXPECT_NE(parents, childs);
    close(ends[0]);
    close(ends[1]);
}

TEST(Host, ProcessIdIsTheSystems) {
    EXPECT_EQ(ORXOsapiProcess_getId(), static_cast<ORX_UINT64>(getpid()));
}

TEST(Host, MemoryInfoGrowsWithWhatIsTouched) {
    ORXOsapiProcessMemoryInfo before{};
    ASSERT_TRUE(ORXOsapiProcess_getMemoryInfo(&before));
    EXPECT_GT(before.physicalMemory, 100'000U);
    EXPECT_GE(before.totalMemory, before.physicalMemory);
    constexpr std::size_t size = 64U << 20U;
    std::vector<char> touched(size, 1);
    ORXOsapiProcessMemoryInfo after{};
    ASSERT_TRUE(ORXOsapiProcess_getMemoryInfo(&after));
    EXPECT_GT(after.physicalMemory, before.physicalMemory + size / 2) << static_cast<int>(touched[size / 3]);
    EXPECT_FALSE(ORXOsapiProcess_getMemoryInfo(nullptr));
}

} // namespace
