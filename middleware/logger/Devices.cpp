// The devices by slot, and how a message reaches them.
#include <pthread.h>

#include <bit>

#include "middleware/log/DdsLog.hpp"
#include "middleware/log/Memory.hpp"
#include "middleware/logger/Logger.hpp"

struct ADVLOGLoggerDevice {
    ZDDS_Config_LoggerDevice* device;
};

namespace zdds::logger {
namespace {

constinit CountedSlot<ADVLOGLoggerDevice*> slots[deviceSlotCount];
// A bit for each slot that has ever had a device, so that a message does not look at the others. A bit is
// set, with release, before its slot is filled for the first time, and stays.
constinit std::atomic<unsigned> usedSlots{0};

[[gnu::constructor]] void watchForks() {
    pthread_atfork(nullptr, nullptr, [] {
        for (unsigned i = 0; i < deviceSlotCount; ++i)
            slots[i].forgetOtherThreads(1U << i);
    });
}

void release(ADVLOGLoggerDevice* device) {
    if (device->device->close != nullptr)
        device->device->close(device->device);
    destroy(device);
}

} // namespace

void deliver(const ZDDS_Config_LogMessage& message) {
    for (unsigned left = usedSlots.load(std::memory_order_relaxed); left != 0; left &= left - 1) {
        slots[std::countr_zero(left)].visit(left & -left,
            [&](ADVLOGLoggerDevice* wrapper) { wrapper->device->write(wrapper->device, &message); });
    }
}

} // namespace zdds::logger

ADVLOGLoggerDevice* ZDDS_Config_Logger_createADVLOGLoggerDevice(ZDDS_Config_LoggerDevice* device) {
    ZDDS_REQUIRE(device != nullptr, nullptr);
    ZDDS_REQUIRE(device->write != nullptr, nullptr);
    auto* self = zdds::create<ADVLOGLoggerDevice>("struct ADVLOGLoggerDevice", device);
    return self != nullptr ? self : ZDDS_FAIL(nullptr, FAILED_TO_ALLOCATE, "struct ADVLOGLoggerDevice");
}

// The wrapper is the slot's from here on, also when it does not get into it.
int ADVLOGLogger_setDevice(int slot, ADVLOGLoggerDevice* device, int, int) {
    zdds::Cleanup drop([&] { zdds::destroy(device); });
    ZDDS_REQUIRE(slot >= 0 && slot < static_cast<int>(zdds::logger::deviceSlotCount), 0);
    ADVLOGLoggerDevice* before = nullptr;
    bool wasFull = false;
    const unsigned bit = 1U << slot;
    if (device != nullptr)
        zdds::logger::usedSlots.fetch_or(bit, std::memory_order_release);
    if (!zdds::logger::slots[slot].exchange(bit, device != nullptr ? &device : nullptr, &before, &wasFull))
        return ZDDS_FAIL(0, FAILED_TO_SET, "logger device %d: another thread is changing it", slot);
    drop.dismiss();
    if (wasFull)
        zdds::logger::release(before);
    return 1;
}
