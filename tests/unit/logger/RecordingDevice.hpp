// A device that remembers what it was given, and runs what a test wants on the thread that logs.
#ifndef ORX_TESTS_RECORDING_DEVICE_HPP
#define ORX_TESTS_RECORDING_DEVICE_HPP

#include <functional>
#include <mutex>
#include <string>
#include <vector>

#include "zddsc/logger.h"

class RecordingDevice {
public:
    struct Message {
        std::string text;
        ZDDS_Config_LogLevel level;
        DDS_UnsignedLong id;
        DDS_Duration_t timestamp;
        ZDDS_Config_LogFacility facility;
        bool isSecurity;
    };

    explicit RecordingDevice(int slot = 3) : slot_(slot) {
        device.device_data = this;
        device.write = [](ZDDS_Config_LoggerDevice* self, const ZDDS_Config_LogMessage* message) {
            static_cast<RecordingDevice*>(self->device_data)->write(*message);
        };
        device.close = [](ZDDS_Config_LoggerDevice* self) {
            ++static_cast<RecordingDevice*>(self->device_data)->closes;
        };
        isSet =
            ADVLOGLogger_setDevice(slot_, ZDDS_Config_Logger_createADVLOGLoggerDevice(&device), 0, 0) != 0;
    }
    ~RecordingDevice() { remove(); }
    RecordingDevice(const RecordingDevice&) = delete;
    RecordingDevice& operator=(const RecordingDevice&) = delete;

    void remove() {
        if (isSet)
            ADVLOGLogger_setDevice(slot_, nullptr, 0, 0);
        isSet = false;
    }
    std::vector<Message> messages() const {
        std::lock_guard lock(mutex_);
        return messages_;
    }
    std::vector<std::string> texts() const {
        std::vector<std::string> all;
        for (const Message& message : messages())
            all.push_back(message.text);
        return all;
    }

    ZDDS_Config_LoggerDevice device{};
    bool isSet = false;
    int closes = 0;
    std::function<void()> onWrite; // set before anything is logged

private:
    void write(const ZDDS_Config_LogMessage& message) {
        {
            std::lock_guard lock(mutex_);
            messages_.push_back({message.text, message.level, message.message_id, message.timestamp,
                message.facility, message.is_security_message != 0});
        }
        if (onWrite)
            onWrite();
    }

    const int slot_;
    mutable std::mutex mutex_;
    std::vector<Message> messages_;
};

#endif
