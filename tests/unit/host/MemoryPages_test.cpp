#include "host/linux/MemoryPages.h"

#include <gtest/gtest.h>

#include <string>

namespace {

using Host::ParseArcSize;
using Host::ParseMemoryPages;
using Host::TMemoryPages;

std::string MemInfo(const std::string& total, const std::string& free, const std::string& available,
                    const std::string& activeAnonymous, const std::string& inactiveAnonymous) {
    return "MemTotal:       " + total + " kB\nMemFree:        " + free + " kB\nMemAvailable:   " + available +
           " kB\nBuffers:            9164 kB\nActive:           507236 kB\nInactive:         318384 kB\nActive(anon): "
           " " +
           activeAnonymous + " kB\nInactive(anon):  " + inactiveAnonymous + " kB\n";
}

std::uint64_t Sum(const TMemoryPages& pages) {
    return pages.active + pages.wired + pages.free + pages.inactive + pages.cached;
}

TEST(MemoryPages, AreTakenFromTheLinesOfMemInfo) {
    const auto pages = ParseMemoryPages(MemInfo("4000", "1000", "2400", "400", "200"), 4096);
    ASSERT_TRUE(pages);
    EXPECT_EQ(pages->active, 150U);
    EXPECT_EQ(pages->wired, 250U);
    EXPECT_EQ(pages->free, 250U);
    EXPECT_EQ(pages->inactive, 350U);
    EXPECT_EQ(pages->cached, 0U);
}

TEST(MemoryPages, AddUpToTheTotalAndTheAvailableMemory) {
    const auto pages = ParseMemoryPages(MemInfo("24684092", "23674168", "24313368", "1568", "12292"), 4096);
    ASSERT_TRUE(pages);
    EXPECT_EQ(Sum(*pages), 24684092U / 4);
    EXPECT_EQ(pages->free + pages->inactive + pages->cached, 24313368U / 4);
}

TEST(MemoryPages, FollowThePageSize) {
    const auto pages = ParseMemoryPages(MemInfo("4096000", "1024000", "2048000", "0", "0"), 65536);
    ASSERT_TRUE(pages);
    EXPECT_EQ(Sum(*pages), 64000U);
    EXPECT_EQ(pages->free, 16000U);
}

TEST(MemoryPages, ReserveOfTheKernelIsNotAvailable) {
    const auto pages = ParseMemoryPages(MemInfo("4000", "1000", "800", "400", "200"), 4096);
    ASSERT_TRUE(pages);
    EXPECT_EQ(pages->free, 200U);
    EXPECT_EQ(pages->inactive, 0U);
    EXPECT_EQ(Sum(*pages), 1000U);
}

TEST(MemoryPages, ProgramsUseNoMoreThanWhatIsUsed) {
    const auto pages = ParseMemoryPages(MemInfo("4000", "1000", "3800", "400", "200"), 4096);
    ASSERT_TRUE(pages);
    EXPECT_EQ(pages->active, 50U);
    EXPECT_EQ(pages->wired, 0U);
    EXPECT_EQ(Sum(*pages), 1000U);
}

TEST(MemoryPages, AreNotKnownWhereALineOrItsNumberIsMissing) {
    const std::string complete = MemInfo("4000", "1000", "2400", "400", "200");
    for (const char* name : {"MemTotal:", "MemFree:", "MemAvailable:", "Active(anon):", "Inactive(anon):"}) {
        std::string text = complete;
        text.replace(text.find(name), 1, "?");
        EXPECT_FALSE(ParseMemoryPages(text, 4096)) << name;
    }
    EXPECT_FALSE(ParseMemoryPages(MemInfo("many", "1000", "2400", "400", "200"), 4096));
    EXPECT_FALSE(ParseMemoryPages("", 4096));
    EXPECT_FALSE(ParseMemoryPages("MemTotal:", 4096));
}

TEST(ArcSize, IsTheLastNumberOfItsLine) {
    EXPECT_EQ(ParseArcSize("13 1 0x01 147 39984 6106312420 5403861441180\n"
                           "name                            type data\n"
                           "hits                            4    2313\n"
                           "size                            4    2147483648\n"
                           "compressed_size                 4    1000\n"),
              2147483648U);
    EXPECT_FALSE(ParseArcSize("hits                            4    2313\nanon_size  4  5\n"));
    EXPECT_FALSE(ParseArcSize("size                            4    much\n"));
    EXPECT_FALSE(ParseArcSize(""));
}

} // namespace
