// Translating takes no memory after the first documents, and a huge one leaves nothing behind.
#include <atomic>
#include <cstdlib>
#include <new>

#include <gtest/gtest.h>

#include "support/Support.h"

namespace {

std::atomic<long> gAllocations{0};

}  // namespace

// Every allocation of this program is counted.
void* operator new(size_t size)
{
    ++gAllocations;
    if (void* memory = std::malloc(size)) {
        return memory;
    }
    throw std::bad_alloc();
}

void* operator new(size_t size, const std::nothrow_t&) noexcept
{
    ++gAllocations;
    return std::malloc(size);
}

void operator delete(void* memory) noexcept
{
    std::free(memory);
}

void operator delete(void* memory, size_t) noexcept
{
    std::free(memory);
}

namespace {

const char kDocument[] = R"({"211":{"left_cm_s":1,"right_cm_s":2},"102":{"r":1},"300":{"file":"A","volume":1},
                             "100":{"index":[1,0,1],"brightness":[1,0.5,0.25,1]},"9000":{"pingID":1}})";

TEST(MemoryTest, TranslatingAllocatesNothingAfterWarmUp)
{
    uint8_t out[ZK_BLOCK_SIZE];
    ZKTranslator* translator = ZKTranslatorCreate(ZK_ROBOT_QUILL);
    HALPacket_t packets[ZK_MAX_COMMAND_PACKETS];
    size_t count = 0;
    for (int round = 0; round < 2; ++round) {
        const long before = gAllocations;
        for (int i = 0; i < 1000; ++i) {
            json2Packets(kDocument, out);
            ZKTranslatorTranslate(translator, kDocument, packets, &count, nullptr, 0);
        }
        if (round == 1) {
            EXPECT_EQ(gAllocations - before, 0);
        }
    }
    EXPECT_EQ(count, 2u);
    ZKTranslatorDestroy(translator);
}

TEST(MemoryTest, ACheckOfAHostileDocumentStaysBounded)
{
    support::Printed printed;
    std::string json = "{";
    for (int i = 0; i < 100000; ++i) {
        json += "\"77\":1,\"106\":{\"r\":1},\n";
    }
    json += "}";
    static char message[1 << 20];
    EXPECT_EQ(ZKCheckCommandDocument(json.c_str(), ZK_ROBOT_ORVIK, message, sizeof message), ZK_CHECK_REMARKS);
    EXPECT_LT(std::string(message).size(), 66u * 1024);
}

}  // namespace
