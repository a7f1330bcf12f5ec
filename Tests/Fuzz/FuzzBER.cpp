// Any bytes as BER: nothing is read beyond the end of the element that holds it, and what is written of what was read is read the
// same again.

#include <cstdint>

#include "Base/Require.hpp"
#include "Base/Text.hpp"
#include "NetCore/BER.hpp"
#include "NetCore/NetError.hpp"

using namespace netcore;

namespace {

constexpr int deepest = 64;

void checkOID(const std::string& dotted) {
    if (dotted.empty()) return;
    KESTRELYNE_REQUIRE(BER::canEncodeOID(dotted), "what came from two numbers fits them");
    const auto encoded = BER::oid(dotted);
    KESTRELYNE_REQUIRE(BER::decodeOID(BER::Reader(encoded).read(BER::Tag::objectIdentifier)) == dotted, "an OID is read the same");
}

void checkNumber(std::uint8_t tag, const SNMPValue& value) {
    const auto count = value.count();
    if (value.integer()) {
        const auto encoded = BER::integer(*value.integer());
        KESTRELYNE_REQUIRE(BER::Reader(encoded).readInt() == *value.integer(), "an integer is read the same");
    } else if (count) {
        const auto encoded = BER::unsignedNumber(tag, *count);
        const auto again = BER::Reader(encoded).readAny();
        KESTRELYNE_REQUIRE(BER::decodeValue(again.tag, again.content) == value, "an unsigned number is read the same");
    }
}

void checkValue(std::uint8_t tag, base::Bytes content) {
    const auto value = BER::decodeValue(tag, content);
    const auto text = value.text();
    KESTRELYNE_REQUIRE(base::repairUTF8(text) == text, "every text is UTF-8");
    KESTRELYNE_REQUIRE(value.number().has_value() == (value.count().has_value() || value.integer().has_value()), "numbers count");
    if (const auto* oid = std::get_if<SNMPValue::OID>(&value.content())) checkOID(oid->dotted);
    if (const auto* string = std::get_if<SNMPValue::String>(&value.content()))
        KESTRELYNE_REQUIRE(string->size() == content.size(), "a string is its content");
    checkNumber(tag, value);
}

void readAll(base::Bytes bytes, int depth) {
    BER::Reader reader(bytes);
    std::size_t read = 0;
    try {
        while (!reader.atEnd()) {
            const auto [tag, content] = reader.readAny();
            KESTRELYNE_REQUIRE(content.empty() || (content.data() >= bytes.data() &&
                                                   content.data() + content.size() <= bytes.data() + bytes.size()),
                               "a content lies within its parent");
            read += content.size() + 2;
            KESTRELYNE_REQUIRE(read <= bytes.size(), "nothing is read twice");
            checkValue(tag, content);
            if (depth < deepest) readAll(content, depth + 1);
        }
    } catch (const NetError& error) {
        KESTRELYNE_REQUIRE(error.kind() == NetError::Case::protocolError, "bad bytes are an error of the protocol");
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const base::Bytes bytes(data, size);
    checkOID(BER::decodeOID(bytes));
    readAll(bytes, 0);
    return 0;
}
