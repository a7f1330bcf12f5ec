#include "Kestrelyne/Remote/HTTPMessage.hpp"

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

using kestrelyne::HTTPRequest;
using kestrelyne::HTTPRequestReader;
using kestrelyne::HTTPResponse;
using kestrelyne::parseHTTPRequest;
using Texts = std::map<std::string, std::string>;

namespace {

std::optional<HTTPRequest> parse(std::string_view bytes) { return parseHTTPRequest(bytes, "192.0.2.7"); }

TEST(HTTPRequest, HasMethodPathQueryHeadersAndBody) {
    const auto request = parse("POST /api/x?u=1&v HTTP/1.1\r\nHost: here\r\nContent-Length: 4\r\n\r\nabcd");
    ASSERT_TRUE(request);
    EXPECT_EQ(request->method, "POST");
    EXPECT_EQ(request->path, "/api/x");
    EXPECT_EQ(request->query, (Texts{{"u", "1"}, {"v", ""}}));
    EXPECT_EQ(request->headers, (Texts{{"host", "here"}, {"content-length", "4"}}));
    EXPECT_EQ(request->body, "abcd");
    EXPECT_EQ(request->remoteIP, "192.0.2.7");
}

TEST(HTTPRequest, IsAbsentWithoutABlankLine) {
    for (const char* bytes : {"", "GET / HTTP/1.1", "GET / HTTP/1.1\r\n", "GET / HTTP/1.1\r\nHost: x\r\n", "GET / HTTP/1.1\n\n"})
        EXPECT_FALSE(parse(bytes)) << bytes;
}

TEST(HTTPRequest, NeedsMethodAndTargetButNoVersion) {
    EXPECT_EQ(parse("GET /a\r\n\r\n")->path, "/a");
    EXPECT_EQ(parse("  GET   /a   HTTP/1.1 more \r\n\r\n")->path, "/a");
    EXPECT_FALSE(parse("GET\r\n\r\n"));
    EXPECT_FALSE(parse("\r\n\r\n"));
    EXPECT_FALSE(parse("\r\nGET / HTTP/1.1\r\n\r\n"));
}

TEST(HTTPRequest, MethodIsTakenAsSent) { EXPECT_EQ(parse("gEt / HTTP/1.1\r\n\r\n")->method, "gEt"); }

TEST(HTTPRequest, HeaderNamesAreLowerCasedValuesTrimmedAndTheLastCounts) {
    const auto request =
        parse("GET / HTTP/1.1\r\nX-One:  \t a b \t\r\nX-ONE: second\r\nno colon here\r\nTime: 12:30\r\nEmpty:\r\n\r\n");
    EXPECT_EQ(request->headers, (Texts{{"x-one", "second"}, {"time", "12:30"}, {"empty", ""}}));
    EXPECT_EQ(request->header("time"), "12:30");
    EXPECT_EQ(request->header("missing"), "");
}

TEST(HTTPRequest, WaitsForTheAnnouncedBody) {
    const std::string head = "POST / HTTP/1.1\r\nContent-Length: 5\r\n\r\n";
    EXPECT_FALSE(parse(head));
    EXPECT_FALSE(parse(head + "1234"));
    EXPECT_EQ(parse(head + "12345")->body, "12345");
}

TEST(HTTPRequest, IgnoresBytesBehindTheAnnouncedBody) {
    EXPECT_EQ(parse("POST / HTTP/1.1\r\nContent-Length: 5\r\n\r\n12345678")->body, "12345");
    EXPECT_EQ(parse("GET / HTTP/1.1\r\n\r\nGET /second HTTP/1.1\r\n\r\n")->path, "/");
}

TEST(HTTPRequest, CountsAMissingUnreadableOrNegativeLengthAsNone) {
    for (const char* length :
         {"", "Content-Length: x\r\n", "Content-Length: 5x\r\n", "Content-Length: -5\r\n", "Content-Length: 5.0\r\n",
          "Content-Length: 99999999999999999999\r\n", "Transfer-Encoding: chunked\r\n"}) {
        const auto request = parse(std::string("POST / HTTP/1.1\r\n") + length + "\r\n12345");
        ASSERT_TRUE(request) << length;
        EXPECT_EQ(request->body, "") << length;
    }
}

TEST(HTTPRequest, RepairsAHeadThatIsNoUTF8) {
    const auto request = parse(
        "GET /a HTTP/1.1\r\nX: a\xff"
        "b\r\n\r\n");
    EXPECT_EQ(request->header("x"), "a\uFFFDb");
}

TEST(HTTPRequest, TakesATargetWithABrokenEscapeRawAndWithoutQuery) {
    const auto request = parse("GET /a%zz?b=c HTTP/1.1\r\n\r\n");
    EXPECT_EQ(request->path, "/a%zz?b=c");
    EXPECT_TRUE(request->query.empty());
}

TEST(HTTPRequest, ReadsAbsoluteTargets) {
    const auto request = parse("GET http://host:8470/path?x HTTP/1.1\r\n\r\n");
    EXPECT_EQ(request->path, "/path");
    EXPECT_EQ(request->query, (Texts{{"x", ""}}));
    EXPECT_EQ(parse("GET //host/p HTTP/1.1\r\n\r\n")->path, "/p");
}

TEST(HTTPRequest, CutsTheZoneOfThePeer) {
    EXPECT_EQ(parseHTTPRequest("GET / HTTP/1.1\r\n\r\n", "fe80::1%en0")->remoteIP, "fe80::1");
    EXPECT_EQ(parseHTTPRequest("GET / HTTP/1.1\r\n\r\n", "")->remoteIP, "");
}

TEST(HTTPRequest, SplitsCookiesAtTheirFirstEqualsSign) {
    HTTPRequest request;
    EXPECT_TRUE(request.cookies().empty());
    request.headers["cookie"] = " a=1 ;; b = x=y ; alone ; c= ;=d; a=2";
    EXPECT_EQ(request.cookies(), (Texts{{"a", "2"}, {"b", "x=y"}, {"c", ""}, {"", "d"}}));
    for (const auto& [name, value] : request.cookies()) EXPECT_EQ(request.cookie(name), value) << name;
    EXPECT_FALSE(request.cookie("alone"));
    EXPECT_FALSE(HTTPRequest().cookie("a"));
}

// The reader sees the same bytes in pieces.

TEST(HTTPRequestReader, AnswersTheSameWhereverTheBytesAreCut) {
    const std::string bytes = "POST /a?b=c HTTP/1.1\r\nContent-Length: 7\r\nX: y\r\n\r\n1234567";
    const auto whole = parse(bytes);
    for (std::size_t cut = 0; cut <= bytes.size(); ++cut) {
        HTTPRequestReader reader;
        auto state = reader.add(std::string_view(bytes).substr(0, cut));
        if (cut < bytes.size()) {
            ASSERT_EQ(state, HTTPRequestReader::State::incomplete) << cut;
            state = reader.add(std::string_view(bytes).substr(cut));
        }
        ASSERT_EQ(state, HTTPRequestReader::State::complete) << cut;
        EXPECT_FALSE(reader.hasSurplus());
        const auto request = reader.take("192.0.2.7");
        EXPECT_EQ(request.path, whole->path);
        EXPECT_EQ(request.query, whole->query);
        EXPECT_EQ(request.headers, whole->headers);
        EXPECT_EQ(request.body, whole->body) << cut;
    }
}

TEST(HTTPRequestReader, IsReadyWithTheLastByteAndNotBefore) {
    const std::string bytes = "POST / HTTP/1.1\r\nContent-Length: 3\r\n\r\nabc";
    HTTPRequestReader reader;
    for (std::size_t i = 0; i + 1 < bytes.size(); ++i)
        ASSERT_EQ(reader.add(std::string_view(bytes).substr(i, 1)), HTTPRequestReader::State::incomplete) << i;
    EXPECT_EQ(reader.add("c"), HTTPRequestReader::State::complete);
    EXPECT_EQ(reader.take("").body, "abc");
}

TEST(HTTPRequestReader, TellsOfBytesBeyondTheRequest) {
    HTTPRequestReader reader;
    EXPECT_EQ(reader.add("GET / HTTP/1.1\r\n\r\nx"), HTTPRequestReader::State::complete);
    EXPECT_TRUE(reader.hasSurplus());
}

// A request whose head and body together have this size, of which `surplus` bytes are not announced.
std::string requestOfSize(std::size_t size, std::size_t surplus = 0) {
    std::string head = "POST / HTTP/1.1\r\nContent-Length: 0000000\r\n\r\n";
    auto length = std::to_string(size - head.size() - surplus);
    length.insert(0, 7 - length.size(), '0');
    head.replace(head.find("0000000"), 7, length);
    return head + std::string(size - head.size(), 'x');
}

TEST(HTTPRequestReader, TakesTwoMillionBytesAndNotOneMore) {
    HTTPRequestReader fits;
    EXPECT_EQ(fits.add(requestOfSize(2'000'000)), HTTPRequestReader::State::complete);
    HTTPRequestReader tooLarge;
    EXPECT_EQ(tooLarge.add(requestOfSize(2'000'001)), HTTPRequestReader::State::tooLarge);
    // The limit counts what has come, before anything is read from it.
    HTTPRequestReader surplus;
    EXPECT_EQ(surplus.add(requestOfSize(2'000'001, 1)), HTTPRequestReader::State::tooLarge);
}

TEST(HTTPRequestReader, WaitsForWhatIsTooLargeInsteadOfRefusingItByItsHead) {
    HTTPRequestReader reader;
    EXPECT_EQ(reader.add("POST / HTTP/1.1\r\nContent-Length: 3000000\r\n\r\n"), HTTPRequestReader::State::incomplete);
    const std::string block(65536, 'x');
    auto state = HTTPRequestReader::State::incomplete;
    std::size_t sent = 0;
    while (state == HTTPRequestReader::State::incomplete && sent < 2'100'000) {
        EXPECT_EQ(reader.held(), 0U) << "what can never be a request is only counted";
        state = reader.add(block);
        sent += block.size();
    }
    EXPECT_EQ(state, HTTPRequestReader::State::tooLarge);
}

TEST(HTTPRequestReader, CountsAMalformedRequestUpToTheLimitWithoutKeepingIt) {
    HTTPRequestReader reader;
    EXPECT_EQ(reader.add("GET\r\n\r\nGET / HTTP/1.1\r\n\r\n"), HTTPRequestReader::State::incomplete);
    EXPECT_EQ(reader.held(), 0U);
    EXPECT_EQ(reader.add(std::string(2'000'000, 'x')), HTTPRequestReader::State::tooLarge);
}

TEST(HTTPRequestReader, LooksAtEveryByteFewTimesHoweverSmallThePieces) {
    // Reading all anew for each of a million single bytes would take hours.
    HTTPRequestReader reader;
    for (int i = 0; i < 1'000'000; ++i) ASSERT_EQ(reader.add("x"), HTTPRequestReader::State::incomplete);
    EXPECT_EQ(reader.held(), 1'000'000U);
}

// Answers.

std::string headerOf(const std::string& bytes, const std::string& name) {
    const auto at = bytes.find("\r\n" + name + ": ");
    if (at == std::string::npos) return "(missing)";
    const auto begin = at + 2 + name.size() + 2;
    return bytes.substr(begin, bytes.find("\r\n", begin) - begin);
}

TEST(HTTPResponse, PrintsTheReasonOfEachStatusAndOKForOthers) {
    for (const auto& [status, reason] : std::initializer_list<std::pair<int, const char*>>{{200, "OK"},
                                                                                           {201, "Created"},
                                                                                           {204, "No Content"},
                                                                                           {304, "Not Modified"},
                                                                                           {400, "Bad Request"},
                                                                                           {401, "Unauthorized"},
                                                                                           {403, "Forbidden"},
                                                                                           {404, "Not Found"},
                                                                                           {405, "Method Not Allowed"},
                                                                                           {409, "Conflict"},
                                                                                           {413, "Payload Too Large"},
                                                                                           {429, "Too Many Requests"},
                                                                                           {500, "Internal Server Error"},
                                                                                           {503, "Service Unavailable"},
                                                                                           {418, "OK"},
                                                                                           {302, "OK"}})
        EXPECT_TRUE(
            HTTPResponse::error("", status).serialized().starts_with("HTTP/1.1 " + std::to_string(status) + " " + reason + "\r\n"))
            << status;
}

TEST(HTTPResponse, CarriesItsHeadersTheFixedOnesAndNoOthers) {
    const auto bytes = HTTPResponse{.status = 200, .headers = {{"X-Own", "1"}}, .body = "häh"}.serialized();
    EXPECT_EQ(bytes,
              "HTTP/1.1 200 OK\r\nX-Own: 1\r\nContent-Length: 4\r\nConnection: close\r\nX-Content-Type-Options: nosniff\r\n"
              "Referrer-Policy: no-referrer\r\n\r\nhäh");
}

TEST(HTTPResponse, OverridesTheFixedHeadersWhateverTheHandlerSet) {
    const auto bytes = HTTPResponse{.status = 200,
                                    .headers = {{"Connection", "keep-alive"},
                                                {"content-length", "99"},
                                                {"X-Content-Type-Options", "x"},
                                                {"REFERRER-POLICY", "origin"}},
                                    .body = ""}
                           .serialized();
    EXPECT_EQ(headerOf(bytes, "Connection"), "close");
    EXPECT_EQ(headerOf(bytes, "Content-Length"), "0");
    EXPECT_EQ(headerOf(bytes, "X-Content-Type-Options"), "nosniff");
    EXPECT_EQ(headerOf(bytes, "Referrer-Policy"), "no-referrer");
    EXPECT_EQ(bytes.find("keep-alive"), std::string::npos);
    EXPECT_EQ(bytes.find("99"), std::string::npos);
    EXPECT_EQ(bytes.find("origin"), std::string::npos);
}

TEST(HTTPResponse, JSONIsPlainOrderedAndNeverStored) {
    const auto response = HTTPResponse::json({{"z", 1}, {"a", nullptr}}, 404);
    EXPECT_EQ(response.status, 404);
    EXPECT_EQ(response.body, R"({"z":1,"a":null})");
    EXPECT_EQ(response.headers, (Texts{{"Content-Type", "application/json; charset=utf-8"}, {"Cache-Control", "no-store"}}));
}

TEST(HTTPResponse, JSONThatCannotBeWrittenIsAnEmptyObjectWithTheStatusAsked) {
    const auto response = HTTPResponse::json(nlohmann::ordered_json(nlohmann::ordered_json::value_t::discarded), 409);
    EXPECT_EQ(response.status, 409);
    EXPECT_EQ(response.body, "{}");
    EXPECT_EQ(HTTPResponse::json({{"text", "a\xff"}}).body, "{\"text\":\"a\uFFFD\"}") << "broken text is no failure";
}

TEST(HTTPResponse, ErrorHasOneText) {
    const auto response = HTTPResponse::error("zu groß", 413);
    EXPECT_EQ(response.status, 413);
    EXPECT_EQ(response.body, R"({"error":"zu groß"})");
}

}  // namespace
