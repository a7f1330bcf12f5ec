#include "Kestrelyne/Metering/CSVRecorder.hpp"

#include <fcntl.h>
#include <fmt/format.h>
#include <unistd.h>

#include <cerrno>
#include <cmath>
#include <string_view>
#include <system_error>

#include "Base/FileDescriptor.hpp"
#include "MeterCore/JanitzaRegisterMap.hpp"

namespace kestrelyne {

namespace {

bool writeAll(int descriptor, std::string_view text) {
    while (!text.empty()) {
        const auto written = ::write(descriptor, text.data(), text.size());
        if (written < 0 && errno == EINTR) continue;
        if (written < 0) return false;
        text.remove_prefix(static_cast<std::size_t>(written));
    }
    return true;
}

}  // namespace

struct CSVRecorder::File {
    base::FileDescriptor descriptor;  // writer's thread only
};

CSVRecorder::CSVRecorder(std::filesystem::path path, std::shared_ptr<File> file, base::StoreWriter& writer)
    : path_(std::move(path)), file_(std::move(file)), writer_(writer) {}

base::Co<std::unique_ptr<CSVRecorder>> CSVRecorder::open(std::filesystem::path path, base::StoreWriter& writer) {
    auto file = co_await writer.run([path] {
        auto opened = std::make_shared<File>();
        opened->descriptor.reset(::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644));
        if (!opened->descriptor || !writeAll(opened->descriptor.get(), header()))
            throw std::system_error(errno, std::generic_category(), path.string());
        return opened;
    });
    co_return std::unique_ptr<CSVRecorder>(new CSVRecorder(std::move(path), std::move(file), writer));
}

CSVRecorder::~CSVRecorder() {
    writer_.write([file = std::move(file_)] { file->descriptor.reset(); });
}

void CSVRecorder::write(base::WallTime date, const metercore::ValueSet& values) {
    writer_.write([file = file_, text = line(date, values)] { writeAll(file->descriptor.get(), text); });
}

std::string CSVRecorder::header() {
    std::string text = "Zeitstempel";
    for (const auto& row : metercore::JanitzaRegisterMap::measurements())
        text += fmt::format(";{} [{}]", row.name(), metercore::text(row.unit));
    return text + "\r\n";
}

std::string CSVRecorder::line(base::WallTime date, const metercore::ValueSet& values) {
    std::string text = base::formatLocal(date, "%Y-%m-%d %H:%M:%S", true);
    for (const auto& row : metercore::JanitzaRegisterMap::measurements()) {
        text += ';';
        const auto value = values.get(row.address);
        if (!value || !std::isfinite(*value)) continue;
        const auto cell = text.size();
        fmt::format_to(std::back_inserter(text), "{:.4f}", *value);
        if (const auto point = text.find('.', cell); point != std::string::npos) text[point] = ',';
    }
    return text + "\r\n";
}

}  // namespace kestrelyne
