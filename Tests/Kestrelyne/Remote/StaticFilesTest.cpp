#include "Kestrelyne/Remote/StaticFiles.hpp"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <fstream>

#include "Support/TemporaryFolder.hpp"

using kestrelyne::HTTPResponse;
using kestrelyne::staticFileName;
using kestrelyne::staticFileResponse;
using kestrelyne::StaticFiles;

namespace {

void write(const std::filesystem::path& path, const std::string& bytes) {
    std::filesystem::create_directories(path.parent_path());
    std::ofstream(path, std::ios::binary) << bytes;
}

// As a file that has lain there for a while: what was changed just now is not kept in memory. The change time cannot be set, so the
// test waits until it has settled.
void letSettle(const std::filesystem::path& path) {
    struct stat info {};
    ASSERT_EQ(stat(path.c_str(), &info), 0);
    timespec now{};
    do {
        const timespec pause{0, 20'000'000};
        nanosleep(&pause, nullptr);
        clock_gettime(CLOCK_REALTIME, &now);
    } while (now.tv_sec - info.st_ctim.tv_sec < StaticFiles::settleSeconds);
}

TEST(StaticFileName, IsThePathWithoutItsFirstCharacter) {
    for (const auto& [path, name] : std::initializer_list<std::pair<const char*, const char*>>{{"/", "index.html"},
                                                                                               {"/foh", "index.html"},
                                                                                               {"/foh/", "foh/index.html"},
                                                                                               {"/FOH", "FOH"},
                                                                                               {"/static/", "static/index.html"},
                                                                                               {"/a/b.js", "a/b.js"},
                                                                                               {"/api", "api"},
                                                                                               {"*", ""},
                                                                                               {"", ""},
                                                                                               {"//x", "/x"}})
        EXPECT_EQ(staticFileName(path), name) << path;
}

TEST(StaticFileName, RefusesTwoDotsAnywhere) {
    for (const char* path : {"/a/../b", "/..", "/a..b", "/../", "..", "/a/.."}) EXPECT_FALSE(staticFileName(path)) << path;
}

TEST(StaticFileResponse, TypeFollowsTheExtensionAsWritten) {
    for (const auto& [name, type] :
         std::initializer_list<std::pair<const char*, const char*>>{{"index.html", "text/html; charset=utf-8"},
                                                                    {"a/app.js", "text/javascript; charset=utf-8"},
                                                                    {"app.css", "text/css; charset=utf-8"},
                                                                    {"a.json", "application/json; charset=utf-8"},
                                                                    {"m.webmanifest", "application/manifest+json"},
                                                                    {"icon.png", "image/png"},
                                                                    {"icon.svg", "image/svg+xml"},
                                                                    {"app.js.map", "application/octet-stream"},
                                                                    {"INDEX.HTML", "application/octet-stream"},
                                                                    {"html", "application/octet-stream"},
                                                                    {".html", "application/octet-stream"},
                                                                    {"a.html/b", "application/octet-stream"}})
        EXPECT_EQ(staticFileResponse(name, "").headers.at("Content-Type"), type) << name;
}

TEST(StaticFileResponse, OnlyImagesOfKindPNGAreCached) {
    EXPECT_EQ(staticFileResponse("a.png", "").headers.at("Cache-Control"), "max-age=86400");
    for (const char* name : {"a.html", "a.js", "a.svg", "a.PNG", "a"})
        EXPECT_EQ(staticFileResponse(name, "").headers.at("Cache-Control"), "no-cache") << name;
}

TEST(StaticFileResponse, OnlyTheServiceWorkerMayServeTheRoot) {
    EXPECT_EQ(staticFileResponse("sw.js", "").headers.at("Service-Worker-Allowed"), "/");
    EXPECT_EQ(staticFileResponse("a/sw.js", "").headers.at("Service-Worker-Allowed"), "/");
    for (const char* name : {"asw.js", "sw.js.map", "sw.js/x"})
        EXPECT_FALSE(staticFileResponse(name, "").headers.contains("Service-Worker-Allowed")) << name;
}

TEST(StaticFileResponse, PagesCarryTheContentSecurityPolicy) {
    EXPECT_EQ(staticFileResponse("index.html", "").headers.at("Content-Security-Policy"),
              "default-src 'self'; img-src 'self' data:; style-src 'self' 'unsafe-inline'; script-src 'self'; connect-src 'self'");
    EXPECT_FALSE(staticFileResponse("app.js", "").headers.contains("Content-Security-Policy"));
}

class StaticFilesOfAFolder : public testing::Test {
protected:
    void SetUp() override {
        write(root_ / "index.html", "<p>start</p>");
        write(root_ / "static" / "index.html", "<p>static</p>");
        write(root_ / "app.js", "1");
        write(folder_ / "secret.txt", "secret");
    }
    TemporaryFolder folder_;
    std::filesystem::path root_ = folder_ / "web";
    StaticFiles files_{root_};
};

TEST_F(StaticFilesOfAFolder, ServesFiles) {
    EXPECT_EQ(files_.read("/").body, "<p>start</p>");
    EXPECT_EQ(files_.read("/foh").body, "<p>start</p>");
    EXPECT_EQ(files_.read("/static/").body, "<p>static</p>");
    const auto script = files_.read("/app.js");
    EXPECT_EQ(script.status, 200);
    EXPECT_EQ(script.body, "1");
    EXPECT_EQ(script.headers.size(), 2U) << "type and cache control";
}

TEST_F(StaticFilesOfAFolder, WithoutTheFolderThereAreNoFiles) {
    StaticFiles none(folder_ / "missing");
    StaticFiles file(folder_ / "secret.txt");
    for (const char* path : {"/", "/a/../b", "/x"}) {
        for (auto* files : {&none, &file}) {
            const auto response = files->quick(path);
            ASSERT_TRUE(response) << path;
            EXPECT_EQ(response->status, 503) << path;
            EXPECT_EQ(response->body, R"({"error":"Web-App-Dateien fehlen"})");
            EXPECT_EQ(files->read(path).status, 503);
        }
    }
}

TEST_F(StaticFilesOfAFolder, RefusesTwoDots) {
    for (const char* path : {"/a/../b", "/../secret.txt", "/a..b"}) {
        const auto response = files_.quick(path);
        ASSERT_TRUE(response) << path;
        EXPECT_EQ(response->status, 400);
        EXPECT_EQ(response->body, R"({"error":"ungültiger Pfad"})");
        EXPECT_EQ(files_.read(path).status, 400);
    }
}

TEST_F(StaticFilesOfAFolder, WhatCannotBeReadIsNotFound) {
    write(root_ / "pipe-is-below" / "x", "");
    ASSERT_EQ(mkfifo((root_ / "pipe").c_str(), 0600), 0);
    // A folder, nothing, a pipe that would hold the reader, a name that a system call would cut, an absolute path.
    for (const std::string& path :
         {std::string("/static"), std::string("/missing"), std::string("*"), std::string(""), std::string("/pipe"),
          std::string("/index.html\0.png", 16), "/" + (folder_ / "secret.txt").string()}) {
        const auto response = files_.quick(path);
        ASSERT_TRUE(response) << path;
        EXPECT_EQ(response->status, 404) << path;
        EXPECT_EQ(response->body, R"({"error":"nicht gefunden"})");
        EXPECT_EQ(files_.read(path).status, 404) << path;
    }
}

TEST_F(StaticFilesOfAFolder, AFileChangedJustNowIsNotKept) {
    write(root_ / "fresh.js", "1");
    EXPECT_EQ(files_.read("/fresh.js").body, "1");
    EXPECT_FALSE(files_.quick("/fresh.js"));
    EXPECT_EQ(files_.heldBytes(), 0U);
}

TEST_F(StaticFilesOfAFolder, AReadFileIsAnsweredFromMemoryUntilItChanges) {
    EXPECT_FALSE(files_.quick("/app.js")) << "never read yet";
    letSettle(root_ / "app.js");
    EXPECT_EQ(files_.read("/app.js").body, "1");
    const auto kept = files_.quick("/app.js");
    ASSERT_TRUE(kept);
    EXPECT_EQ(kept->body, "1");
    EXPECT_EQ(kept->headers, files_.read("/app.js").headers);

    write(root_ / "app.js", "2");  // the same size
    EXPECT_FALSE(files_.quick("/app.js"));
    EXPECT_EQ(files_.read("/app.js").body, "2");

    std::filesystem::remove(root_ / "app.js");
    EXPECT_EQ(files_.quick("/app.js")->status, 404);
}

TEST_F(StaticFilesOfAFolder, MemoryIsBoundedAndHoldsTheLastUsed) {
    const std::string block(StaticFiles::cachedFileBytes, 'x');
    constexpr std::size_t fitting = StaticFiles::cacheBytes / StaticFiles::cachedFileBytes;
    for (std::size_t i = 0; i <= fitting; ++i) write(root_ / (std::to_string(i) + ".bin"), block);
    write(root_ / "large.bin", block + "x");
    letSettle(root_ / "large.bin");

    for (std::size_t i = 0; i < fitting; ++i) files_.read("/" + std::to_string(i) + ".bin");
    EXPECT_EQ(files_.heldBytes(), StaticFiles::cacheBytes);
    EXPECT_TRUE(files_.quick("/0.bin")) << "now 1.bin is the one unused for longest";
    files_.read("/" + std::to_string(fitting) + ".bin");
    EXPECT_EQ(files_.heldBytes(), StaticFiles::cacheBytes);
    EXPECT_TRUE(files_.quick("/0.bin"));
    EXPECT_FALSE(files_.quick("/1.bin"));

    EXPECT_EQ(files_.read("/large.bin").body.size(), block.size() + 1);
    EXPECT_FALSE(files_.quick("/large.bin")) << "too large to keep";
}

}  // namespace
