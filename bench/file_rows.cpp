// The two readers and the log.
#include <fcntl.h>
#include <ini.h>
#include <spdlog/sinks/basic_file_sink.h>
#include <spdlog/spdlog.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <fstream>

#include "Common/INI.h"
#include "Common/Log.h"
#include "bench/measure.h"
#include "src/ActiveVolumeProgram.h"

namespace {

// ---- Readers. Each call opens the file and looks for the last key of the last section.

constexpr char kSection[] = "Wanted";
constexpr char kKey[] = "name";
constexpr char kValue[] = "Pelluria";
constexpr size_t kLineSize = 1024;

void MakeFile(const std::string& path, size_t size) {
    const std::string tail = std::string("\n[") + kSection + "]\n" + kKey + "=" + kValue + "\n";
    std::string text;
    for (int i = 0; text.size() < size; ++i) {
        if (i % 10 == 0) text += "[Section " + std::to_string(i) + "]\n";
        text += "key" + std::to_string(i) + " = /Volumes/Device/Program.app\n";
    }
    std::ofstream(path) << text.substr(0, size - tail.size()) << tail;
}

void ReadOurs(const char* /*path*/) {
    Check(strcmp(ReadString(kSection, kKey, ""), kValue) == 0, "ReadString");
}

int TakeValue(void* value, const char* section, const char* key, const char* text) {
    if (strcmp(section, kSection) == 0 && strcmp(key, kKey) == 0)
        snprintf(static_cast<char*>(value), kLineSize, "%s", text);
    return 1;
}

void ReadInih(const char* path) {
    char value[kLineSize] = "";
    Check(ini_parse(path, TakeValue, value) == 0 && strcmp(value, kValue) == 0, "inih");
}

void ReadLines(const char* path) {
    FILE* stream = fopen(path, "r");
    for (char line[kLineSize]; fgets(line, sizeof line, stream) != nullptr;) benchmark::DoNotOptimize(line);
    fclose(stream);
}

void ScanOurs(const char* path) {
    FILE* stream = fopen(path, "r");
    char text[kLineSize];
    int64_t limit = sizeof text;
    strcpy(text, kSection);
    Check(ReadKeyValue(stream, text, sizeof text, &limit, true) > 0, "section");
    strcpy(text, kKey);
    Check(ReadKeyValue(stream, text, sizeof text, &limit, false) > 0 && strcmp(text, kValue) == 0, "key");
    fclose(stream);
}

bool ScanFor(FILE* stream, const char* text) {
    for (char line[kLineSize]; fgets(line, sizeof line, stream) != nullptr;)
        if (strstr(line, text) != nullptr) return true;
    return false;
}

void ScanLines(const char* path) {
    FILE* stream = fopen(path, "r");
    Check(ScanFor(stream, kSection) && ScanFor(stream, kKey), "fgets + strstr");
    fclose(stream);
}

Row ReaderRow(const char* group, const char* name, size_t size, const std::string& folder,
              const std::vector<std::pair<const char*, void (*)(const char*)>>& readers) {
    Row row = {group, name, {}, size};
    row.is_counted = size < 1000000;  // counting a longer file would take minutes
    const std::string path = folder + "/ini of " + name;
    const auto prepare = [=] {
        CloseLogSystem();
        if (!std::filesystem::exists(path)) MakeFile(path, size);
        Check(SetIniFileName(path.c_str()), path);
    };
    for (const auto& [reader, read] : readers)
        row.contenders.push_back({reader, Repeat([path, read = read] { read(path.c_str()); }), prepare});
    return row;
}

// ---- The log

constexpr char kCommand[] = "open -a \"/Applications/Pelluria.app\"";
constexpr char kReadyLine[] =
    "line 4711===2009-3-5 9:4:12   Process:RunShellProgram --- RunShellProgram exit true."
    "(open -a \"/Applications/Pelluria.app\")\n";

void LogOurs() {
    Log("src/Process", "RunShellProgram", "RunShellProgram exit true.(%s)", kCommand);
}
void OpenOurs(const char* path) {
    CloseLogSystem();
    InitLogSystem(path);
    LogOurs();  // opens the file
}

int g_file = -1;
void LogReadyLine() {
    lseek(g_file, 0, SEEK_END);
    Check(write(g_file, kReadyLine, sizeof kReadyLine - 1) > 0, "write");
}
void OpenFile(const char* path) {
    if (g_file >= 0) close(g_file);
    g_file = open(path, O_WRONLY);
}

// The same line from the same values, including the time of day, in one call.
FILE* g_file_stream = nullptr;
int g_number = 0;
void LogFormatted() {
    const time_t now = time(nullptr);
    tm local = {};
    localtime_r(&now, &local);
    fprintf(g_file_stream, "line %d===%d-%d-%d %d:%d:%d   %s:%s --- RunShellProgram exit true.(%s)\n",
            ++g_number, local.tm_year + 1900, local.tm_mon + 1, local.tm_mday, local.tm_hour, local.tm_min,
            local.tm_sec, "Process", "RunShellProgram", kCommand);
    fflush(g_file_stream);
}
void OpenStream(const char* path) {
    if (g_file_stream != nullptr) fclose(g_file_stream);
    g_file_stream = fopen(path, "a");
}

std::shared_ptr<spdlog::logger> g_logger;
void LogSpdlog() {
    g_logger->info("RunShellProgram exit true.({})", kCommand);
}
void OpenSpdlog(const char* path) {
    g_logger = std::make_shared<spdlog::logger>("RunShellProgram",
                                                std::make_shared<spdlog::sinks::basic_file_sink_st>(path));
    g_logger->set_pattern("line ===%Y-%m-%d %H:%M:%S   Process:%n --- %v");
    g_logger->flush_on(spdlog::level::info);
}

Row LogRow(const char* name, size_t size, const std::string& folder) {
    Row row = {"Log", name, {}};
    row.calls_limit = 2000;  // the file stays shorter than the size at which the log empties it
    row.is_counted = false;  // the count depends on the time of day
    const auto add = [&](const char* contender, void (*open)(const char*), void (*log)()) {
        const std::string path = folder + "/" + name + ", " + contender;
        const auto prepare = [=] {
            if (!std::filesystem::exists(path)) std::ofstream(path) << std::string(size, '\n');
            open(path.c_str());
            std::filesystem::resize_file(path, size);
        };
        row.contenders.push_back({contender, Repeat(log), prepare});
    };
    add("ours", OpenOurs, LogOurs);
    add("lseek + write", OpenFile, LogReadyLine);
    add("fprintf + fflush", OpenStream, LogFormatted);
    add("spdlog", OpenSpdlog, LogSpdlog);
    return row;
}

}  // namespace

std::vector<Row> FileRows(const std::string& folder) {
    constexpr std::pair<const char*, size_t> kFiles[] = {
        {"1 KB", 1000}, {"100 KB", 100000}, {"10 MB", 10000000}};
    std::vector<Row> rows;
    for (const auto& [name, size] : kFiles)
        rows.push_back(ReaderRow("ReadString", name, size, folder,
                                 {{"ours", ReadOurs}, {"inih", ReadInih}, {"fgets", ReadLines}}));
    for (const auto& [name, size] : kFiles)
        rows.push_back(ReaderRow("ReadKeyValue", name, size, folder,
                                 {{"ours", ScanOurs}, {"fgets + strstr", ScanLines}}));
    rows.push_back(LogRow("empty file", 0, folder));
    rows.push_back(LogRow("file of 9 MB", 9000000, folder));
    return rows;
}
