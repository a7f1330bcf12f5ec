#pragma once
// What a variable of an SNMP agent holds (RFC 3416, RFC 2578), and how people read it.

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <variant>
#include <vector>

namespace netcore {

class SNMPValue {
public:
    struct Null {
        bool operator==(const Null&) const = default;
    };
    /// noSuchObject, noSuchInstance or endOfMibView.
    struct NoSuch {
        bool operator==(const NoSuch&) const = default;
    };
    /// Kept apart because each counts differently, though all hold the same number.
    template <class Tag>
    struct Unsigned {
        std::uint64_t value = 0;
        bool operator==(const Unsigned&) const = default;
    };
    using Counter = Unsigned<struct CounterTag>;  // Counter32, Counter64
    using Gauge = Unsigned<struct GaugeTag>;
    using Ticks = Unsigned<struct TicksTag>;  // hundredths of a second
    struct OID {
        std::string dotted;
        bool operator==(const OID&) const = default;
    };
    struct IP {
        std::string dotted;
        bool operator==(const IP&) const = default;
    };
    using String = std::vector<std::uint8_t>;
    using Content = std::variant<std::int64_t, String, OID, IP, Counter, Gauge, Ticks, Null, NoSuch>;

    SNMPValue() : content_(Null{}) {}
    template <class T>
    requires(!std::is_same_v<std::remove_cvref_t<T>, SNMPValue>) explicit SNMPValue(T content) : content_(std::move(content)) {}

    const Content& content() const { return content_; }
    /// The integer, signed or not, as a double; absent for everything else.
    std::optional<double> number() const;
    /// Display form: digits, dotted text, printable text, else upper-case hex pairs joined by ":"; "null", "–" for NoSuch.
    std::string text() const;
    /// The number where a double would round it; absent when it is negative, and for everything that is no number.
    std::optional<std::uint64_t> count() const;
    /// The signed integer of an INTEGER alone.
    std::optional<std::int64_t> integer() const;
    bool isNoSuch() const { return std::holds_alternative<NoSuch>(content_); }
    bool operator==(const SNMPValue&) const = default;

private:
    Content content_;
};

/// One variable binding, its OID dotted without a leading dot.
struct SNMPRow {
    std::string oid;
    SNMPValue value;
    bool operator==(const SNMPRow&) const = default;
};

}  // namespace netcore
