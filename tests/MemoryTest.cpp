// Translating takes no memory after the first documents, and a huge one leaves nothing behind.
#include <atomic>
#include <cmath>
#include <cstdlib>
#include <new>

#include <gtest/gtest.h>

#include "support/Host.h"

namespace {

std::atomic<long> gAllocations{0};
std::atomic<long> gLive{0};  // blocks that are allocated and not freed

}  // namespace

// Every allocation of this program is counted.
void* operator new(size_t size)
{
    ++gAllocations;
    ++gLive;
    if (void* memory = std::malloc(size)) {
        return memory;
    }
    throw std::bad_alloc();
}

void* operator new(size_t size, const std::nothrow_t&) noexcept
{
    ++gAllocations;
    ++gLive;
    return std::malloc(size);
}

void operator delete(void* memory) noexcept
{
    gLive -= memory != nullptr;
    std::free(memory);
}

void operator delete(void* memory, size_t) noexcept
{
    gLive -= memory != nullptr;
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

TEST(MemoryTest, AScanEvery50MillisecondsLeavesNothingBehind)
{
    support::Host host;
    const char data[] = {3, 1};
    const auto quarterOfAnHour = [&] {
        for (int i = 0; i < 18000; ++i) {
            host.wait(0.05);
            host.scan("r");
            host.scan("");
            ZKProcessScan("bad", "x", 99, "", 0);
            host.enqueue("r", "without a time-out, long enough for the heap", -1);
            host.enqueue("r", "queued behind it", 1);
            host.enqueue("bad", "with one", i % 20 == 0 ? 1.0 : INFINITY);
            Kestrel::robotById(i % 2 == 0 ? "nobody" : "no one");
            if (i % 10 == 0) {
                Kestrel::TimerManager brief;
                ZKSetTimerManager(&brief);
                host.scan("brief");
                host.enqueue("brief", "its time-out goes with its timer manager");
                ZKSetTimerManager(host.timers.get());
            }
            host.lines.clear();
        }
        ZKProcessScan("r", data, sizeof data, "", 0);
        host.wait(2);
        host.wait(2);
        host.lines = std::string();
    };
    quarterOfAnHour();
    const long before = gLive;
    quarterOfAnHour();
    EXPECT_LT(gLive, before + 200);
    EXPECT_LT(host.timers->toString().size(), 200u);
}

}  // namespace
