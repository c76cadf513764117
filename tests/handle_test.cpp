// Handles: creation and release with every status in its order, the
// registry and the load-time tables. Many threads at once: ThreadStress.
#include "test_support.h"

#include "frame/handle.h"
#include "frame/module.h"
#include "kernels/ink.h"

#include <gtest/gtest.h>

#include <cstring>

namespace {

using quv::testing::registryCount;
using quvtest::AllocationFailure;
namespace qt = quv::testing;

ClrParams makeParams(uint32_t size = CLR_PARAMS_SIZE) {
    ClrParams p;
    std::memset(&p, 0, sizeof p);
    p.size = size;
    p.activeMethod = CLR_METHOD_BUILTIN;
    p.methodMask = CLR_METHOD_BUILTIN;
    return p;
}

TEST(ClrInit, RefusesNoOutPointerThenRecordsOfOtherSizesAndUnreadableOnes) {
    ClrParams bad = makeParams(7);
    EXPECT_EQ(Quv_ClrInit(nullptr, 99, 0, &bad), CLR_INVALID_PARAMETER);
    ClrHandle* h = nullptr;
    ClrParams p = makeParams(1650);
    EXPECT_EQ(Quv_ClrInit(&h, 0, 1, &p), CLR_INVALID_STRUCT_SIZE);
    p.size = 0;
    EXPECT_EQ(Quv_ClrInit(&h, 0, 0, &p), CLR_INVALID_STRUCT_SIZE);

    quvtest::MappedPages none(1, PROT_NONE);
    EXPECT_EQ(Quv_ClrInit(&h, 0, 1, reinterpret_cast<ClrParams*>(none.data())), CLR_BAD_POINTER);

    // A record whose size word is right but whose bytes run off the mapping.
    quvtest::MappedPages pages(1);
    auto* cut = reinterpret_cast<ClrParams*>(pages.tail(1000));
    cut->size = CLR_PARAMS_SIZE;
    EXPECT_EQ(Quv_ClrInit(&h, 0, 1, cut), CLR_BAD_POINTER);
    // The shorter form needs only 1648 readable bytes.
    auto* shortForm = reinterpret_cast<ClrParams*>(pages.tail(CLR_PARAMS_SIZE_NO_FLAGS));
    shortForm->size = CLR_PARAMS_SIZE_NO_FLAGS;
    shortForm->methodMask = 0;
    ASSERT_EQ(Quv_ClrInit(&h, 3, 3, shortForm), CLR_SUCCESS);
    EXPECT_EQ(Quv_ClrFree(h), CLR_SUCCESS);
}

TEST(ClrInit, EqualSpacesMakeACopyingHandleWithoutLookingAtThem) {
    ClrHandle* h = nullptr;
    ASSERT_EQ(Quv_ClrInit(&h, 99, 99, nullptr), CLR_SUCCESS);
    EXPECT_EQ(Quv_ClrIsValid(h), CLR_SUCCESS);
    EXPECT_EQ(h->activeMethod, 0u);
    EXPECT_EQ(h->stageCount, 0);
    EXPECT_EQ(Quv_ClrFree(h), CLR_SUCCESS);

    ClrParams p = makeParams();
    ASSERT_EQ(Quv_ClrInit(&h, 5, 5, &p), CLR_SUCCESS);
    EXPECT_EQ(Quv_ClrFree(h), CLR_SUCCESS);
}

TEST(ClrInit, UnknownSpacesAreRefused) {
    ClrHandle* h = reinterpret_cast<ClrHandle*>(0x1);
    EXPECT_EQ(Quv_ClrInit(&h, 99, 0, nullptr), CLR_ICC_SPACE_MISMATCH);
    EXPECT_EQ(Quv_ClrInit(&h, 0, 16, nullptr), CLR_ICC_SPACE_MISMATCH);
    EXPECT_EQ(Quv_ClrInit(&h, 127, 128, nullptr), CLR_ICC_SPACE_MISMATCH);
    EXPECT_EQ(h, reinterpret_cast<ClrHandle*>(0x1)) << "the out pointer is written only on success";
}

TEST(ClrInit, StageCountFollowsTheRgbSide) {
    struct Case {
        ClrSpace from, to;
        int stages;
    };
    for (Case c : {Case{0, 1, 1}, Case{12, 3, 1}, Case{5, 0, 1}, Case{4, 12, 1}, Case{7, 3, 2}, Case{1, 5, 2},
                   Case{128, 144, 2}, Case{0, 12, 1}}) {
        ClrHandle* h = nullptr;
        ASSERT_EQ(Quv_ClrInit(&h, c.from, c.to, nullptr), CLR_SUCCESS);
        EXPECT_EQ(h->stageCount, c.stages) << c.from << " -> " << c.to;
        EXPECT_EQ(h->activeMethod, uint32_t(CLR_METHOD_BUILTIN));
        EXPECT_EQ(h->methodMask, uint32_t(CLR_METHOD_BUILTIN));
        EXPECT_EQ(h->gamma, 45);
        EXPECT_EQ(h->sourceSpace, c.from);
        EXPECT_EQ(h->destSpace, c.to);
        EXPECT_EQ(Quv_ClrFree(h), CLR_SUCCESS);
    }
}

TEST(ClrInit, YcckHandlesCarryTheirOwnTables) {
    ClrHandle* h = nullptr;
    ASSERT_EQ(Quv_ClrInit(&h, ClrSpaceYcck, ClrSpaceRgb, nullptr), CLR_SUCCESS);
    ASSERT_NE(h->ycckTable, nullptr);
    EXPECT_NE(h->ycckTable, &quv::kernels::processYcckTables());
    EXPECT_EQ(std::memcmp(h->ycckTable, &quv::kernels::processYcckTables(), sizeof(quv::kernels::YcckTables)), 0);
    EXPECT_EQ(Quv_ClrFree(h), CLR_SUCCESS);

    ASSERT_EQ(Quv_ClrInit(&h, ClrSpaceRgb, ClrSpaceYuv, nullptr), CLR_SUCCESS);
    EXPECT_EQ(h->ycckTable, nullptr);
    EXPECT_EQ(Quv_ClrFree(h), CLR_SUCCESS);
}

// Each allocation of Init fails in turn: the status is -3, and the registry
// and the heap are as they were.
TEST(ClrInit, AnAllocationFailureLeavesNothingBehind) {
    struct Case {
        ClrSpace from, to;
        int allocations;
    };
    for (Case c : {Case{3, 3, 2}, Case{0, 1, 2}, Case{11, 0, 3}}) {
        for (int n = 0; n < c.allocations; ++n) {
            const size_t handles = registryCount();
            const long blocks = qt::livePrivateBlocks();
            ClrHandle* h = nullptr;
            {
                AllocationFailure fail(n);
                EXPECT_EQ(Quv_ClrInit(&h, c.from, c.to, nullptr), CLR_NO_MEMORY) << c.from << " alloc " << n;
            }
            EXPECT_EQ(h, nullptr);
            EXPECT_EQ(registryCount(), handles);
            EXPECT_EQ(qt::livePrivateBlocks(), blocks);
        }
        ClrHandle* h = nullptr;
        AllocationFailure fail(c.allocations);
        ASSERT_EQ(Quv_ClrInit(&h, c.from, c.to, nullptr), CLR_SUCCESS);
        EXPECT_EQ(Quv_ClrFree(h), CLR_SUCCESS);
    }
}

TEST(ClrFree, StatusesInOrder) {
    EXPECT_EQ(Quv_ClrFree(nullptr), CLR_INVALID_PARAMETER);
    quvtest::MappedPages none(1, PROT_NONE);
    EXPECT_EQ(Quv_ClrFree(reinterpret_cast<ClrHandle*>(none.data())), CLR_INVALID_PARAMETER);
    // Readable memory that is no handle: wrong identity, or right identity but unlisted.
    std::vector<uint8_t> junk(CLR_HANDLE_SIZE, 0);
    EXPECT_EQ(Quv_ClrFree(reinterpret_cast<ClrHandle*>(junk.data())), CLR_INVALID_HANDLE);
    const uint32_t identity = CLR_HANDLE_SIZE;
    std::memcpy(junk.data(), &identity, 4);
    EXPECT_EQ(Quv_ClrFree(reinterpret_cast<ClrHandle*>(junk.data())), CLR_INVALID_HANDLE);
    // 1712 bytes must be readable, not only the identity word.
    quvtest::MappedPages pages(1);
    std::memcpy(pages.tail(100), &identity, 4);
    EXPECT_EQ(Quv_ClrFree(reinterpret_cast<ClrHandle*>(pages.tail(100))), CLR_INVALID_PARAMETER);
}

TEST(ClrIsValid, OnlyRegisteredHandlesAreValid) {
    EXPECT_EQ(Quv_ClrIsValid(nullptr), CLR_INVALID_HANDLE);
    quvtest::MappedPages none(1, PROT_NONE);
    EXPECT_EQ(Quv_ClrIsValid(reinterpret_cast<ClrHandle*>(none.data())), CLR_INVALID_HANDLE);

    ClrHandle* h = nullptr;
    ASSERT_EQ(Quv_ClrInit(&h, 0, 5, nullptr), CLR_SUCCESS);
    EXPECT_EQ(Quv_ClrIsValid(h), CLR_SUCCESS);
    // Its bytes copied elsewhere are not a handle.
    std::vector<uint8_t> copy(CLR_HANDLE_SIZE);
    std::memcpy(copy.data(), h, CLR_HANDLE_SIZE);
    EXPECT_EQ(Quv_ClrIsValid(reinterpret_cast<ClrHandle*>(copy.data())), CLR_INVALID_HANDLE);
    // A listed handle whose identity word was overwritten is not valid either.
    h->size = 0;
    EXPECT_EQ(Quv_ClrIsValid(h), CLR_INVALID_HANDLE);
    EXPECT_EQ(Quv_ClrFree(h), CLR_INVALID_HANDLE);
    h->size = CLR_HANDLE_SIZE;
    EXPECT_EQ(Quv_ClrFree(h), CLR_SUCCESS);
    // A second free is refused: the heap keeps the memory mapped.
    EXPECT_EQ(Quv_ClrFree(h), CLR_INVALID_HANDLE);
    EXPECT_EQ(Quv_ClrIsValid(h), CLR_INVALID_HANDLE);
}

TEST(ModuleEntry, ProcessTablesHoldTheirKnownValues) {
    const auto& t = quv::kernels::processYcckTables();
    // C = M = Y = 0 is r = g = b = 255: Y' 255, Cb 128, Cr 128.
    EXPECT_EQ((t.rToY[255] + t.gToY[255] + t.bToY[255]) >> 16, 255);
    EXPECT_EQ((t.rToCb[255] + t.gToCb[255] + t.bToCb[255]) >> 16, 128);
    EXPECT_EQ((t.bToCb[255] + t.gToCr[255] + t.bToCr[255]) >> 16, 128);
    for (auto [at, want] : {std::pair{-256, 0}, {-1, 0}, {0, 0}, {200, 200}, {434, 255}, {639, 255}, {640, 0}, {1151, 127}})
        EXPECT_EQ(t.rangeLimit()[at], want) << at;
    EXPECT_EQ(t.crToR[0], -179);  // the lowest index YCCK decoding reaches is 255 - 179 - 255
    EXPECT_EQ(t.crToG[0], 5990656);
    const uint16_t* gamma = quv::kernels::grayGammaTable();
    EXPECT_EQ(gamma[0], 0);
    EXPECT_EQ(gamma[128], 64);  // (128/255)^2 x 256 = 64.5
    EXPECT_EQ(gamma[255], 256);
}

TEST(ModuleEntry, OnlyTheLastDetachFreesTheHandles) {
    const int32_t base = quv::testing::attachCount();
    ASSERT_GE(base, 1) << "loading the library attaches it";
    ClrHandle* h = nullptr;
    ASSERT_EQ(Quv_ClrInit(&h, ClrSpaceRgb, ClrSpaceHls, nullptr), CLR_SUCCESS);

    EXPECT_EQ(quv::moduleEntry(nullptr, quv::kProcessAttach), 1);
    EXPECT_EQ(quv::testing::attachCount(), base + 1);
    EXPECT_EQ(quv::moduleEntry(nullptr, quv::kProcessDetach), 1);
    EXPECT_EQ(Quv_ClrIsValid(h), CLR_SUCCESS) << "an attach remains";
    EXPECT_EQ(quv::moduleEntry(nullptr, 7), 1) << "other reasons do nothing";
    EXPECT_EQ(quv::testing::attachCount(), base);

    const long blocks = qt::livePrivateBlocks();
    for (int32_t i = 0; i < base; ++i) quv::moduleEntry(nullptr, quv::kProcessDetach);
    EXPECT_EQ(registryCount(), 0u);
    EXPECT_LT(qt::livePrivateBlocks(), blocks);
    for (int32_t i = 0; i < base; ++i) quv::moduleEntry(nullptr, quv::kProcessAttach);
    EXPECT_EQ(quv::testing::attachCount(), base);
}

TEST(ModuleEntry, SetResModuleStoresTheResourceModule) {
    void* before = quv::testing::resourceModule();
    int marker;
    SetResModule(&marker);
    EXPECT_EQ(quv::testing::resourceModule(), &marker);
    SetResModule(before);
}

}  // namespace
