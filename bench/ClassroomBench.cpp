// The reports of thirty virtual robots that drive about, decoded as an app decodes them.
#include <vector>

#include <benchmark/benchmark.h>

#include "Bench.h"
#include "CppEngine/Robot.h"
#include "Simulator/VirtualRobot.h"
#include "ZKHAL/ZKHAL.h"

namespace bench {

namespace {

struct Seat {
    ZKTranslator* translator;
    std::vector<HALPacket_t> packets;  // two a report
};

std::vector<Seat> drive()
{
    std::vector<Seat> seats;
    for (uint32_t i = 0; i < kClassroomRobots; ++i) {
        const uint32_t type = i % 2 == 0 ? ZK_ROBOT_ORVIK : ZK_ROBOT_QUILL;
        const auto robot = Simulator::VirtualRobot::create(type, i);
        const uint8_t wheels[] = {0x01, 0x01, 0x2C, 0x02, 0x00};
        robot->write(Kestrel::gChannelCommandControl.c_str(), wheels, sizeof wheels);
        Seat seat = {ZKTranslatorCreate(type), {}};
        robot->advance(kClassroomSeconds);
        for (Simulator::Notification each; robot->nextNotification(each);) {
            seat.packets.push_back(Simulator::packetOf(each));
        }
        seats.push_back(std::move(seat));
    }
    return seats;
}

void decodeClassroom(benchmark::State& state)
{
    static const std::vector<Seat> kSeats = drive();
    char json[ZK_MAX_REPORT_SIZE];
    for (auto _ : state) {
        for (size_t at = 0; at < kSeats[0].packets.size(); at += 2) {
            for (const Seat& seat : kSeats) {
                benchmark::DoNotOptimize(
                    ZKTranslatorDecode(seat.translator, seat.packets.data() + at, 2, json, sizeof json));
            }
        }
    }
}

void simulateClassroom(benchmark::State& state)
{
    std::vector<std::unique_ptr<Simulator::VirtualRobot>> robots;
    for (uint32_t i = 0; i < kClassroomRobots; ++i) {
        robots.push_back(Simulator::VirtualRobot::create(ZK_ROBOT_ORVIK, i));
    }
    for (auto _ : state) {
        for (const auto& robot : robots) {
            robot->advance(kClassroomSeconds);
            for (Simulator::Notification each; robot->nextNotification(each);) {
                benchmark::DoNotOptimize(each.data.data());
            }
        }
    }
}

}  // namespace

void addClassroomBenchmarks()
{
    benchmark::RegisterBenchmark("classroom/decode", decodeClassroom);
    benchmark::RegisterBenchmark("classroom/simulate", simulateClassroom);
}

}  // namespace bench
