// The monitored program: an ordinary one that knows nothing of monitoring. It makes its topics, and between
// 'b' and 'e' on its socket one thread creates and deletes a writer over and over.
#include "Sample.h"

#include <unistd.h>

#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <thread>

#include "bench/commands/Waits.hpp"
#include "dds/dds.h"

namespace {

using bench::Waits;

int socketNumber = -1;

dds_entity_t made(dds_entity_t entity) {
    if (entity < 0)
        std::_Exit(1);
    return entity;
}

char hear() {
    char what = 0;
    return read(socketNumber, &what, 1) == 1 ? what : 0;
}

void say(const void* what, std::size_t size) {
    for (auto* at = static_cast<const char*>(what); size > 0;) {
        const ssize_t count = write(socketNumber, at, size);
        if (count <= 0)
            std::_Exit(0);
        at += count;
        size -= static_cast<std::size_t>(count);
    }
}

void send(const Waits& waits) {
    const std::uint64_t count = waits.size();
    say(&count, sizeof count);
    say(waits.data(), count * sizeof waits[0]);
}

void measure(dds_entity_t participant, dds_entity_t topic) {
    std::atomic<bool> goesOn{true};
    Waits create, destroy, control;
    std::thread creator([&] {
        bench::goAhead();
        while (goesOn.load(std::memory_order_relaxed)) {
            dds_entity_t writer = 0;
            create.push_back(bench::timeOf(
                [&] { writer = made(dds_create_writer(participant, topic, nullptr, nullptr)); }));
            std::this_thread::sleep_for(bench::pauseBetween);
            destroy.push_back(bench::timeOf([&] { dds_delete(writer); }));
            std::this_thread::sleep_for(bench::pauseBetween);
        }
    });
    std::thread controller([&] { control = bench::latenessWhile(goesOn); });
    (void)hear();
    goesOn = false;
    creator.join();
    controller.join();
    send(create);
    send(destroy);
    send(control);
}

} // namespace

int main(int argc, char** argv) {
    if (argc != 4)
        return 2;
    const dds_entity_t participant =
        made(dds_create_participant(static_cast<dds_domainid_t>(std::atoi(argv[1])), nullptr, nullptr));
    socketNumber = std::atoi(argv[2]);
    dds_entity_t topic = 0;
    for (int i = 0, count = std::atoi(argv[3]); i < count; ++i) {
        const std::string name = "topic" + std::to_string(i);
        topic =
            made(dds_create_topic(participant, &BenchCommands_Sample_desc, name.c_str(), nullptr, nullptr));
    }
    say("r", 1);
    while (hear() == 'b')
        measure(participant, topic);
    std::_Exit(0);
}
