// Fresh hits of other caches, for the benchmark of the look-ups.

#include "bench/peers/Proj_Cache.h"
#include "tests/support/Nginx_Server.h"
#include "tests/support/Scratch_Directory.h"

#include <QDateTime>
#include <QIODevice>
#include <QNetworkCacheMetaData>
#include <QNetworkDiskCache>
#include <QUrl>

#include <benchmark/benchmark.h>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace QEL::Bench {

namespace {

/// PROJ says whether the file is there; its path follows from the URL.
void Proj_Fresh_Hit(benchmark::State& state) {
    const Tests::Scratch_Directory directory;
    const Tests::Nginx_Server server({Tests::Nginx_Site{}});
    Proj_Cache cache(directory.Path());
    std::vector<std::string> urls;
    for (std::int64_t number = 0; number < state.range(0); ++number) {
        const std::string name = "landscape-" + std::to_string(number) + ".xml";
        server.Write(name, "<Landscape/>\n");
        urls.push_back(server.Site().Url("/" + name, "127.0.0.1"));
        if (!cache.Fetch(urls.back())) {
            state.SkipWithError("not fetched");
            return;
        }
    }
    std::size_t next = 0;
    for (auto _ : state) {
        if (!cache.Fetch(urls[next])) {
            state.SkipWithError("not fresh");
        }
        next = (next + 1) % urls.size();
    }
}

/// Qt never names a path: what it serves is an open device. Before that it is asked for what it knows
/// of the copy, its expiry among it, as its own network classes do.
/// @param with_copy false: the question alone, which serves nothing yet.
void Qt_Fresh_Hit(benchmark::State& state, bool with_copy) {
    const Tests::Scratch_Directory directory;
    QNetworkDiskCache cache;
    cache.setCacheDirectory(QString::fromStdString(directory.Path().string()));
    const QDateTime now = QDateTime::currentDateTimeUtc();
    std::vector<QUrl> urls;
    for (std::int64_t number = 0; number < state.range(0); ++number) {
        urls.emplace_back(QString("https://landscape.example.com/configuration/landscape-%1.xml").arg(number));
        QNetworkCacheMetaData properties;
        properties.setUrl(urls.back());
        properties.setSaveToDisk(true);
        properties.setExpirationDate(now.addSecs(3600));
        QIODevice* const device = cache.prepare(properties);
        device->write("<Landscape/>\n");
        cache.insert(device);
    }
    std::size_t next = 0;
    for (auto _ : state) {
        if (!(cache.metaData(urls[next]).expirationDate() > QDateTime::currentDateTimeUtc())) {
            state.SkipWithError("not fresh");
        }
        if (with_copy) {
            const std::unique_ptr<QIODevice> copy(cache.data(urls[next]));
            benchmark::DoNotOptimize(copy.get());
        }
        next = (next + 1) % urls.size();
    }
}

BENCHMARK(Proj_Fresh_Hit)->Arg(50);
BENCHMARK_CAPTURE(Qt_Fresh_Hit, served, true)->Arg(50);
BENCHMARK_CAPTURE(Qt_Fresh_Hit, known, false)->Arg(50);

} // namespace

} // namespace QEL::Bench
