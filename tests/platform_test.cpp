// The platform layer: memory proofs under each way of asking the system,
// the allocation families, the growable buffer's accounting and text that
// does not convert. Files and well-formed text are exercised through the
// profile, image-file and narrow-call tests.
#include "test_support.h"

#include "platform/memory.h"
#include "platform/probe.h"
#include "platform/text.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstdio>
#include <string>
#include <sys/mman.h>
#include <unistd.h>

namespace {

using quv::MemoryProbe;
using quv::ProbeMechanism;
using quvtest::MappedPages;
namespace qt = quv::testing;

class ProbeTest : public testing::TestWithParam<ProbeMechanism> {
protected:
    void SetUp() override { qt::forceProbeMechanism(GetParam()); }
    void TearDown() override { qt::forceProbeMechanism(ProbeMechanism::Auto); }
};

TEST_P(ProbeTest, ProtectionDecidesReadAndWrite) {
    MappedPages rw(2), ro(2, PROT_READ), none(2, PROT_NONE);
    MemoryProbe p;
    EXPECT_TRUE(p.readable(rw.data(), rw.size()));
    EXPECT_TRUE(p.writable(rw.data(), rw.size()));
    EXPECT_TRUE(p.readable(ro.data(), ro.size()));
    EXPECT_FALSE(p.writable(ro.data(), ro.size()));
    EXPECT_FALSE(p.writable(ro.data() + 100, 1));
    EXPECT_FALSE(p.readable(none.data(), 1));
    EXPECT_FALSE(p.writable(none.data(), none.size()));
    // A proof of one access doesn't stand in for the other.
    MemoryProbe q;
    EXPECT_TRUE(q.readable(ro.data(), 8));
    EXPECT_FALSE(q.writable(ro.data(), 8));
}

TEST_P(ProbeTest, ExtentsRunningOffTheMappingFail) {
    MappedPages rw(1);
    MemoryProbe p;
    EXPECT_TRUE(p.readable(rw.tail(16), 16));
    EXPECT_FALSE(p.readable(rw.tail(16), 17));
    EXPECT_FALSE(p.writable(rw.tail(16), 17));
    EXPECT_TRUE(p.writable(rw.tail(16), 16));
}

TEST_P(ProbeTest, SpansAcrossMappingsNeedEveryPage) {
    MappedPages pages(3);
    const size_t page = MappedPages::pageSize();
    mprotect(pages.data() + page, page, PROT_READ);  // middle page read-only
    MemoryProbe p;
    EXPECT_TRUE(p.readable(pages.data(), pages.size()));
    EXPECT_FALSE(p.writable(pages.data(), pages.size()));
    EXPECT_TRUE(p.writable(pages.data() + 2 * page, page));
    mprotect(pages.data() + page, page, PROT_NONE);
    MemoryProbe q;
    EXPECT_FALSE(q.readable(pages.data(), pages.size()));
    EXPECT_TRUE(q.readable(pages.data(), page));
}

TEST_P(ProbeTest, EmptyNullAndWrappingExtents) {
    MemoryProbe p;
    EXPECT_TRUE(p.readable(nullptr, 0));
    EXPECT_FALSE(p.readable(nullptr, 1));
    EXPECT_FALSE(p.writable(nullptr, 1));
    int x = 0;
    EXPECT_FALSE(p.readable(&x, SIZE_MAX));
    EXPECT_TRUE(p.writable(&x, sizeof x));
    EXPECT_EQ(x, 0) << "proving writability changes nothing";
}

// A private file mapping shows later changes to the file until a store into
// it copies the page: a proof that wrote a byte back would freeze the page.
TEST_P(ProbeTest, ProvingWritabilityStoresNothing) {
    FILE* file = std::tmpfile();
    ASSERT_NE(file, nullptr);
    const int fd = fileno(file);
    const size_t page = MappedPages::pageSize();
    ASSERT_EQ(ftruncate(fd, static_cast<off_t>(page)), 0);
    auto* map = static_cast<volatile char*>(mmap(nullptr, page, PROT_READ | PROT_WRITE, MAP_PRIVATE, fd, 0));
    ASSERT_NE(map, MAP_FAILED);
    EXPECT_EQ(map[0], 0);
    MemoryProbe p;
    EXPECT_TRUE(p.writable(const_cast<char*>(map), page));
    ASSERT_EQ(pwrite(fd, "b", 1, 0), 1);
    EXPECT_EQ(map[0], 'b');
    munmap(const_cast<char*>(map), page);
    std::fclose(file);
}

std::string mechanismName(const testing::TestParamInfo<ProbeMechanism>& info) {
    static const char* const names[] = {"Auto", "MapQuery", "ProcessVm", "MapsText"};
    return names[static_cast<int>(info.param)];
}

INSTANTIATE_TEST_SUITE_P(Mechanisms, ProbeTest,
                         testing::Values(ProbeMechanism::Auto, ProbeMechanism::MapQuery, ProbeMechanism::ProcessVm,
                                         ProbeMechanism::MapsText),
                         mechanismName);

TEST(Allocation, FamiliesCountTheirOwnBlocks) {
    const long priv = qt::livePrivateBlocks(), shared = qt::liveSharedBlocks();
    void* a = quv::quvMalloc(10, 4);
    void* b = quv::quvSharedAlloc(3, 3);
    EXPECT_EQ(qt::livePrivateBlocks(), priv + 1);
    EXPECT_EQ(qt::liveSharedBlocks(), shared + 1);
    b = quv::quvSharedRealloc(b, 1000);
    ASSERT_NE(b, nullptr);
    EXPECT_EQ(qt::liveSharedBlocks(), shared + 1);
    quv::quvFree(a);
    quv::quvSharedFree(b);
    EXPECT_EQ(qt::livePrivateBlocks(), priv);
    EXPECT_EQ(qt::liveSharedBlocks(), shared);
}

TEST(Allocation, OverflowingCountsAndInjectedFailuresGiveNull) {
    EXPECT_EQ(quv::quvMalloc(SIZE_MAX / 2, 4), nullptr);
    auto* zeros = static_cast<uint8_t*>(quv::quvCalloc(64, 1));
    ASSERT_NE(zeros, nullptr);
    EXPECT_EQ(std::count(zeros, zeros + 64, 0), 64);
    quv::quvFree(zeros);
    qt::failAllocationsAfter(1);
    void* first = quv::quvMalloc(1, 1);
    EXPECT_NE(first, nullptr);
    EXPECT_EQ(quv::quvMalloc(1, 1), nullptr);
    EXPECT_EQ(quv::quvSharedAlloc(1, 1), nullptr);
    qt::failAllocationsAfter(-1);
    quv::quvFree(first);
}

TEST(GrowBuffer, LargeSizesReserveAndGiveBack) {
    const size_t reserved = qt::reservedBytes();
    {
        quv::GrowBuffer buf(100);
        EXPECT_EQ(qt::reservedBytes(), reserved) << "small sizes are not reserved";
        ASSERT_EQ(buf.resize(9000000), CLR_SUCCESS);
        // Crossing the threshold reserves the whole counted amount at once.
        const size_t counted = qt::reservedBytes() - reserved;
        EXPECT_GE(counted, 9000000u);
        ASSERT_EQ(buf.resize(counted + 1), CLR_SUCCESS);
        EXPECT_GT(qt::reservedBytes() - reserved, counted) << "growth reserves the difference";
        EXPECT_EQ(buf.resize(10), CLR_SUCCESS) << "shrinking keeps the storage";
        EXPECT_GE(buf.capacity(), counted);
    }
    EXPECT_EQ(qt::reservedBytes(), reserved);
}

TEST(GrowBuffer, RefusedReservationFreesAFreshBuffer) {
    const long blocks = qt::livePrivateBlocks();
    qt::limitReservations(1000);
    {
        quv::GrowBuffer buf(9000000);
        EXPECT_EQ(buf.status(), CLR_NO_MEMORY);
        EXPECT_EQ(buf.data(), nullptr);
        EXPECT_EQ(qt::livePrivateBlocks(), blocks);
    }
    qt::limitReservations(0);
}

TEST(GrowBuffer, FailedAllocationReportsThroughTheAccount) {
    qt::failAllocationsAfter(0);
    quv::GrowBuffer buf(10);
    qt::failAllocationsAfter(-1);
    EXPECT_EQ(buf.status(), CLR_NO_MEMORY);
    EXPECT_EQ(buf.size(), 0u);
    quv::GrowBuffer empty(0);
    EXPECT_EQ(empty.status(), CLR_FAILURE) << "a buffer of size 0 is never made";
}

TEST(Text, MalformedInputIsReplacedAndReported) {
    EXPECT_EQ(quv::utf8ToUtf16("a\xFF" "b\xC3"), u"a\uFFFDb\uFFFD");
    EXPECT_EQ(quv::utf8ToUtf16("\xC0\x80"), u"\uFFFD\uFFFD") << "overlong forms are not decoded";
    const char16_t lone[] = {u'x', 0xD800, u'y', 0};
    bool lossy = false;
    EXPECT_EQ(quv::utf16ToUtf8(lone, &lossy), "x?y");
    EXPECT_TRUE(lossy);
    char narrow[16];
    EXPECT_EQ(quv::wideToNarrowField(lone, narrow, sizeof narrow), CLR_TEXT_LOSSY);
    EXPECT_STREQ(narrow, "x?y");
}

TEST(Text, FieldsReportNullAndOverflow) {
    char narrow[3];
    EXPECT_EQ(quv::wideToNarrowField(u"ab", narrow, 3), CLR_SUCCESS);
    EXPECT_EQ(quv::wideToNarrowField(u"é", narrow, 2), CLR_BUFFER_TOO_SMALL) << "two UTF-8 bytes and a terminator";
    ClrWChar* copy = quv::quvTextToWide("caf\xC3\xA9");
    ASSERT_NE(copy, nullptr);
    EXPECT_EQ(std::u16string(copy), u"café");
    quv::quvTextFree(copy);
    EXPECT_EQ(quv::quvTextToWide(nullptr), nullptr);
}

}  // namespace
