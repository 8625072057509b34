// SPDX-License-Identifier: GPL-3.0-or-later
// The life of the host library in a process: what it shows, loading, unloading, and being there twice.
#include "boundary/HostContract.h"

#include <malloc.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

namespace orphia_contract {

namespace {

namespace fs = std::filesystem;
using std::uint32_t;

constexpr uint32_t blockSize = 44;

auto ThreadCount() {
    const fs::directory_iterator threads("/proc/self/task");
    return std::distance(begin(threads), end(threads));
}

bool IsLoaded(const std::string& path) {
    void* handle = dlopen(path.c_str(), RTLD_NOW | RTLD_NOLOAD);
    if (handle != nullptr) {
        dlclose(handle);
    }
    return handle != nullptr;
}

// A whole life, with a sample whose loading is under way at its end.
void LiveOnce(const std::string& path = ORPHIA_ENGINE_LIBRARY) {
    const Library library(path);
    const auto processor = library.MakeProcessor();
    processor->Connect(nullptr);
    ASSERT_TRUE(Initialize(*processor, 44100.0F));
    uint32_t size = 8;
    EXPECT_TRUE(processor->SetParameterData(303, "none.wav", &size));
    StereoBlock block(blockSize);
    EXPECT_TRUE(processor->Process(block.data.bytes));
    processor->Terminate();
}

std::string TextOf(const char* command) {
    std::string text;
    FILE* pipe = popen(command, "r");
    for (int c = std::fgetc(pipe); c != EOF; c = std::fgetc(pipe)) {
        text += static_cast<char>(c);
    }
    pclose(pipe);
    return text;
}

TEST(LibraryLifeTest, TheLibraryShowsOneFunction) {
    const std::string symbols = TextOf("nm -D --defined-only '" ORPHIA_ENGINE_LIBRARY "'");
    EXPECT_EQ(std::count(symbols.begin(), symbols.end(), '\n'), 1) << symbols;
    EXPECT_NE(symbols.find(" T GetProcessorFactory\n"), std::string::npos) << symbols;
    EXPECT_EQ(fs::path(ORPHIA_ENGINE_LIBRARY).filename(), "liborphia_vx.so");
}

TEST(LibraryLifeTest, UnloadingLeavesNoThreadAndNoMemory) {
    const auto memory = [] { return mallinfo2().uordblks + mallinfo2().hblkhd; };
    // What the system's own libraries set up for good comes with the first, as does a sanitizer's own thread.
    LiveOnce();
    LiveOnce();
    const auto threads = ThreadCount();
    const auto before = memory();
    for (int life = 0; life < 4; ++life) {
        LiveOnce();
        EXPECT_EQ(ThreadCount(), threads);
        EXPECT_FALSE(IsLoaded(ORPHIA_ENGINE_LIBRARY));
    }
    // Some is the allocator's, which keeps a few pieces of each size at hand.
    EXPECT_LE(memory(), before + 32768);
}

TEST(LibraryLifeTest, TwoCopiesAndTwoHandlesDoNotMeet) {
    const fs::path copy = fs::temp_directory_path() / ("orphia_copy_" + std::to_string(getpid()) + ".so");
    fs::copy_file(ORPHIA_ENGINE_LIBRARY, copy, fs::copy_options::overwrite_existing);
    {
        const Library original;
        const Library other(copy.string());
        EXPECT_NE(original.Symbol("GetProcessorFactory"), other.Symbol("GetProcessorFactory"));
        const auto first = original.MakeProcessor();
        const auto second = other.MakeProcessor();
        for (Processor* processor : {first.get(), second.get()}) {
            EXPECT_TRUE(Initialize(*processor, 44100.0F));
        }
        first->SetParameter(2351, 0.25F);
        second->SetParameter(2351, 0.75F);
        float value = 0.0F;
        first->GetParameter(2351, &value);
        EXPECT_EQ(value, 0.25F);
        {
            const Library again; // the same file: closing this one closes nothing
            EXPECT_EQ(again.Symbol("GetProcessorFactory"), original.Symbol("GetProcessorFactory"));
        }
        StereoBlock block(blockSize);
        EXPECT_TRUE(first->Process(block.data.bytes));
        EXPECT_TRUE(second->Process(block.data.bytes));
    }
    EXPECT_FALSE(IsLoaded(copy.string()));
    fs::remove(copy);
}

// In a process of its own, which then ends: it gives its address space away.
[[noreturn]] void CreateWithoutMemory() {
    const Library library;
    const auto factory = library.MakeFactory();
    std::ifstream status("/proc/self/statm");
    rlim_t pages = 0;
    status >> pages;
    const rlim_t used = pages * static_cast<rlim_t>(sysconf(_SC_PAGESIZE));
    const rlimit limit{used, used};
    setrlimit(RLIMIT_AS, &limit);
    std::_Exit(factory->CreateProcessor() == nullptr ? 0 : 1);
}

TEST(LibraryLifeDeathTest, WithoutMemoryThereIsNoProcessor) {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
    GTEST_SKIP() << "the sanitizer cannot live with a limit";
#endif
    EXPECT_EXIT(CreateWithoutMemory(), testing::ExitedWithCode(0), "");
}

} // namespace

} // namespace orphia_contract
