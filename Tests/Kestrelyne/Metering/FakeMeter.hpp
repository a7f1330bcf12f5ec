#pragma once
// A meter that a test programs: fixed registers, exceptions, time-outs, a gate that holds a read.

#include <atomic>
#include <condition_variable>
#include <map>
#include <mutex>
#include <optional>
#include <vector>

#include "Kestrelyne/Metering/MonitorSeams.hpp"
#include "MeterCore/ModbusError.hpp"
#include "MeterCore/ModbusTransport.hpp"

/// Answers every register with half of a float: a pair at an even offset of a block reads as `value`. Any thread.
class FakeMeter final : public metercore::ModbusTransport {
public:
    std::vector<std::uint16_t> readRegisters(std::uint8_t, std::uint16_t address, std::uint16_t count) override {
        std::unique_lock lock(mutex_);
        ++reads_[address];
        ++entered_;
        changed_.notify_all();
        changed_.wait(lock, [this] { return !held_; });
        if (onRead) onRead(address);
        if (const auto failure = failures_.find(address); failure != failures_.end()) throw failure->second;
        std::vector<std::uint16_t> registers(count);
        for (std::size_t i = 0; i + 1 < count; i += 2) {
            const auto bits = std::bit_cast<std::uint32_t>(value_);
            registers[i] = static_cast<std::uint16_t>(bits >> 16);
            registers[i + 1] = static_cast<std::uint16_t>(bits);
        }
        return registers;
    }
    void writeSingleRegister(std::uint16_t, std::uint16_t) override {}
    void close() override {
        std::lock_guard lock(mutex_);
        ++closed_;
    }

    void fail(std::uint16_t address, metercore::ModbusError error) {
        std::lock_guard lock(mutex_);
        failures_.insert_or_assign(address, std::move(error));
    }
    void heal(std::uint16_t address) {
        std::lock_guard lock(mutex_);
        failures_.erase(address);
    }
    void setValue(float value) {
        std::lock_guard lock(mutex_);
        value_ = value;
    }
    int reads(std::uint16_t address) {
        std::lock_guard lock(mutex_);
        return reads_[address];
    }
    int closed() {
        std::lock_guard lock(mutex_);
        return closed_;
    }
    /// Reads wait from now on.
    void hold() {
        std::lock_guard lock(mutex_);
        held_ = true;
        entered_ = 0;
    }
    /// Waits until a read has come to the gate.
    void waitForRead() {
        std::unique_lock lock(mutex_);
        changed_.wait(lock, [this] { return entered_ > 0; });
    }
    void release() {
        std::lock_guard lock(mutex_);
        held_ = false;
        changed_.notify_all();
    }

    std::function<void(std::uint16_t)> onRead;  // on the queue's thread; set before the first read

private:
    std::mutex mutex_;
    std::condition_variable changed_;
    std::map<std::uint16_t, int> reads_;
    std::map<std::uint16_t, metercore::ModbusError> failures_;
    float value_ = 230;
    int closed_ = 0, entered_ = 0;
    bool held_ = false;
};
