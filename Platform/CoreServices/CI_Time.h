// Relative times of the core services: a span of seconds and nanoseconds.
#pragma once

#include <chrono>
#include <cstdint>

class CI_RelTime {
public:
    CI_RelTime() = default;
    CI_RelTime(std::int32_t seconds, std::int32_t nanoseconds) : _seconds(seconds), _nanoseconds(nanoseconds) {}

    std::int32_t seconds() const noexcept { return _seconds; }
    std::int32_t nanoseconds() const noexcept { return _nanoseconds; }
    // The span as a duration; negative spans count as zero.
    std::chrono::nanoseconds toDuration() const noexcept {
        auto d = std::chrono::seconds(_seconds) + std::chrono::nanoseconds(_nanoseconds);
        return d.count() < 0 ? std::chrono::nanoseconds(0) : d;
    }

private:
    std::int32_t _seconds = 0;
    std::int32_t _nanoseconds = 0;
};
