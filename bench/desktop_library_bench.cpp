// The library window's speed: from "Open Library" to the window drawn with 10,000 recordings (view model
// and window made, the list loaded from the store and painted), and from a keystroke in the search field
// to the results drawn with 100,000 recordings (the debounce itself runs in virtual time and is not
// counted). And its memory, through the desktop windows object the host uses: the process's resident size
// idle, with the library window open on 10,000 recordings, and once it was closed and let go (the release
// delay passes in virtual time). Runs on Qt's offscreen platform unless QT_QPA_PLATFORM says otherwise. With
// --data-dir DIR it opens DIR/library.sqlite instead of generated recordings.
#include "BenchData.h"
#include "Database/Sqlite/SqliteDatabase.h"
#include "Desktop/app/DesktopWindows.h"
#include "Desktop/library/LibraryWindow.h"
#include "Desktop/library/RecordingListModel.h"
#include "Desktop/loop/QtLoopBridge.h"
#include "Intelligence/UnifiedSearchEngine.h"
#include "Support/BlockingWork.h"
#include "Support/NotificationCenter.h"
#include "Support/Scheduler.h"
#include "Support/UserDefaults.h"

#include <QApplication>
#include <QLineEdit>
#include <QListView>

#include <benchmark/benchmark.h>

#include <cstdlib>
#include <fstream>
#include <malloc.h>
#include <unistd.h>

namespace {

std::optional<std::string> dataDir;

std::unique_ptr<Database::SqliteDatabase> library(std::size_t count) {
    if (dataDir) {
        return std::make_unique<Database::SqliteDatabase>(std::filesystem::path(*dataDir) / "library.sqlite");
    }
    auto db = std::make_unique<Database::SqliteDatabase>(":memory:");
    std::mt19937 rng(42);
    for (std::size_t i = 0; i < count; ++i) {
        Database::DatabaseManager::Recording r;
        r.title = BenchData::sentence(rng, 2, 6);
        r.startDate = Support::dateFromUnix(1'700'000'000.0 + static_cast<double>(i) * 3600);
        r.duration = 600 + static_cast<double>(i % 3600);
        r.hasTranscript = i % 2 == 0;
        db->insertRecording(r);
    }
    return db;
}

struct Fixture {
    Support::MainLoop loop;
    Support::VirtualScheduler scheduler{loop, Support::dateFromUnix(1'800'000'000)};
    Support::NotificationCenter center;
    Support::InMemoryUserDefaults defaults;
    std::unique_ptr<Database::SqliteDatabase> db;
    std::unique_ptr<Intelligence::UnifiedSearchEngine> engine;
    std::unique_ptr<UI::LibraryViewModel> vm;
    std::unique_ptr<Desktop::LibraryWindow> window;

    explicit Fixture(std::size_t count) : db(library(count)) {
        engine = std::make_unique<Intelligence::UnifiedSearchEngine>(*db);
    }
    void settle() {
        for (int i = 0; i < 1000; ++i) {
            Support::BlockingWork::drain();
            Desktop::QtLoopBridge::pump();
            if (loop.runUntilIdle() == 0) {
                Support::BlockingWork::drain();
                if (loop.runUntilIdle() == 0) {
                    return;
                }
            }
        }
    }
    void open() {
        vm = std::make_unique<UI::LibraryViewModel>(*db, *engine, scheduler, center);
        window = std::make_unique<Desktop::LibraryWindow>(
            Desktop::LibraryWindow::Context{*vm, *db, defaults, scheduler, {}, [](const std::string&) {}});
        (void)vm->loadRecordings();
        settle();
        window->show();
        benchmark::DoNotOptimize(window->grab());
    }
    void close() {
        window.reset();
        vm.reset();
        settle();
    }
};

/// The resident set size of this process, in megabytes.
double residentMegabytes() {
    std::ifstream statm("/proc/self/statm");
    long pages = 0;
    long resident = 0;
    statm >> pages >> resident;
    return double(resident) * double(::sysconf(_SC_PAGESIZE)) / 1e6;
}

void BM_HostMemoryWithLibraryOpenAndClosed(benchmark::State& state) {
    Fixture f(static_cast<std::size_t>(state.range(0)));
    UI::AIGenerationJobs jobs(f.center);
    auto windows = Desktop::DesktopWindows::connect(
        {f.loop, *f.db, f.scheduler, f.center, f.defaults, UI::DateContext{"en_US", "UTC"}, jobs},
        [](const std::string&) {});
    if (!windows) {
        state.SkipWithError("the desktop windows could not start");
        return;
    }
    // Twice: the first opening also pays for what Qt keeps once loaded (fonts, glyphs, styles); the second
    // shows whether anything of the window stays behind.
    f.settle();
    ::malloc_trim(0);
    state.counters["idle_MB"] = residentMegabytes();
    for (auto _ : state) {
        for (const char* round : {"1", "2"}) {
            windows->openLibrary();
            f.settle();
            benchmark::DoNotOptimize(windows->library()->grab());
            state.counters[std::string("open") + round + "_MB"] = residentMegabytes();
            windows->library()->close();
            f.settle();
            f.scheduler.advance(Desktop::DesktopWindows::libraryReleaseDelay);
            f.settle();
            state.counters[std::string("closed") + round + "_MB"] = residentMegabytes();
        }
        state.counters["released"] = windows->hasLibrary() ? 0 : 1;
    }
}

void BM_OpenLibraryToDrawn(benchmark::State& state) {
    Fixture f(static_cast<std::size_t>(state.range(0)));
    for (auto _ : state) {
        f.open();
        state.PauseTiming();
        state.counters["rows"] = f.window->listModel()->rowCount();
        f.close();
        state.ResumeTiming();
    }
}

void BM_SearchKeystrokeToDrawn(benchmark::State& state) {
    Fixture f(static_cast<std::size_t>(state.range(0)));
    f.open();
    auto* search = f.window->findChild<QLineEdit*>("librarySearch");
    const char* queries[] = {"budge", "budget", "roadm", "roadma"};
    std::size_t i = 0;
    for (auto _ : state) {
        search->setText(queries[i++ % 4]);
        f.scheduler.advance(UI::LibraryViewModel::searchDebounce);
        f.settle();
        benchmark::DoNotOptimize(f.window->list()->viewport()->grab());
    }
    state.counters["matches"] = f.window->listModel()->rowCount();
    f.close();
}

// First, before the others grow the heap.
BENCHMARK(BM_HostMemoryWithLibraryOpenAndClosed)->Arg(10'000)->Unit(benchmark::kMillisecond)->Iterations(1);
BENCHMARK(BM_OpenLibraryToDrawn)->Arg(10'000)->Unit(benchmark::kMillisecond)->Iterations(5);
BENCHMARK(BM_SearchKeystrokeToDrawn)->Arg(100'000)->Unit(benchmark::kMillisecond)->Iterations(20);

} // namespace

int main(int argc, char** argv) {
    // As the host does (App/host/Host.cpp): one heap for every thread.
    ::mallopt(M_ARENA_MAX, 1);
    dataDir = BenchData::takeDataDir(argc, argv);
    if (!std::getenv("QT_QPA_PLATFORM")) {
        setenv("QT_QPA_PLATFORM", "offscreen", 1);
    }
    QApplication app(argc, argv);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
}
