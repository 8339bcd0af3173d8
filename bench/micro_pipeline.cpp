// What parts of the pipeline cost by themselves: no sockets.

#include <algorithm>
#include <atomic>
#include <benchmark/benchmark.h>
#include <chrono>
#include <thread>

#include "contract/common/ManualTick.h"
#include "contract/http/HttpResponse.h"
#include "contract/messaging/LocalConnector.h"
#include "contract/messaging/Reply.h"
#include "pipeline/HttpLocalHostFilterServiceProvider.h"
#include "pipeline/HttpPathFilterServiceProvider.h"
#include "pipeline/HttpResponseHeaderServiceProvider.h"
#include "pipeline/HttpRouterImpl.h"
#include "pipeline/HttpSessionManagerImpl.h"

namespace connector::http {
namespace {

/// What is behind a stage: a ready answer without a body.
class Rest final : public Context
{
public:
    Reply send(std::unique_ptr<Message>&& /*message*/, Address&& /*address*/) override
    {
        return makeReadyFuture<std::unique_ptr<Message>>(
            std::make_unique<HttpResponse>(200, nullptr));
    }
};

std::unique_ptr<HttpRequest> makeRequest(const std::string& path)
{
    return std::make_unique<HttpRequest>("", path, "", "get", StringMultimap(), StringMultimap(),
                                         StringMultimap(), false, nullptr);
}

std::vector<std::shared_ptr<HttpServiceProvider>> makeStages(bool asRegex)
{
    auto paths = HttpPathFilterServiceProvider::defaultWhiteList();
    auto remote = HttpLocalHostFilterServiceProvider::defaultWhiteList();
    auto rules = HttpResponseHeaderServiceProvider::defaultHeaderRules();
    if (asRegex) { // One pattern more, which matches nothing, and the lists are no default ones.
        const boost::regex nothing(R"([^\x00-\xff])");
        paths.push_back(nothing);
        remote.push_back(nothing);
        rules.emplace_back(nothing, StringMultimap());
    }
    return {
        std::make_shared<HttpPathFilterServiceProvider>(std::move(paths), 403, "Forbidden"),
        std::make_shared<HttpLocalHostFilterServiceProvider>(nullptr, std::move(remote), 403,
                                                             "Forbidden"),
        std::make_shared<HttpResponseHeaderServiceProvider>(std::move(rules)),
    };
}

/// One path through both filters, for a remote client, and the header rules. Each gets a request
/// and makes or passes an answer of its own, which costs something too: "Nothing" tells how much.
void runStages(benchmark::State& state,
               const std::vector<std::shared_ptr<HttpServiceProvider>>& stages,
               const std::string& path)
{
    const std::shared_ptr<Context> rest = std::make_shared<Rest>();
    for (auto _ : state) {
        for (const auto& stage : stages) {
            auto context = rest;
            benchmark::DoNotOptimize(
                stage->handle(makeRequest(path), Address(), std::move(context)));
        }
        if (stages.empty()) {
            for (int stage = 0; stage < 3; ++stage) {
                benchmark::DoNotOptimize(rest->send(makeRequest(path), Address()));
            }
        }
    }
}

std::string repeat(const std::string& piece, std::size_t size)
{
    std::string text;
    while (text.size() < size) {
        text += piece;
    }
    text.resize(size);
    return text;
}

void registerStages()
{
    const std::pair<const char*, std::string> paths[] = {
        {"root", "/"},
        {"script", "/assets/app/main.min.js"},
        {"2KB_of_dots", std::string(2048, '.')},
        {"2KB_of_directories", repeat("/.", 2048)},
        {"2KB_of_html", "/" + std::string(2042, 'a') + ".html"},
        {"2KB_of_letters", "/" + std::string(2047, 'a')},
    };
    for (const auto& [name, path] : paths) {
        const auto add = [&name = name, &path = path](const char* kind, auto stages) {
            benchmark::RegisterBenchmark(
                (std::string("Filters_") + kind + "/" + name).c_str(),
                [stages, path](benchmark::State& state) { runStages(state, stages, path); });
        };
        add("Nothing", std::vector<std::shared_ptr<HttpServiceProvider>>());
        add("Default", makeStages(false));
        add("Regex", makeStages(true));
    }
}

constexpr std::size_t kSessions = 100'000;

std::vector<std::string> fill(HttpSessionManager& manager)
{
    std::vector<std::string> ids;
    ids.reserve(kSessions);
    for (std::size_t count = 0; count < kSessions; ++count) {
        ids.push_back(manager.createSession(std::make_shared<Rest>()));
    }
    return ids;
}

/// Passes every message on to the address that it was given; the last one answers.
class Passing final : public ServiceProvider
{
public:
    explicit Passing(bool last) : last_(last) {}

    Reply deliver(std::unique_ptr<Message>&& message, Address&& address,
                  std::shared_ptr<Context>&& context) override
    {
        return last_ ? makeReadyFuture(std::move(message))
                     : context->send(std::move(message), std::move(address));
    }

private:
    const bool last_;
};

/// One message through the six stages of a chain, as a request takes them.
void passSixStages(benchmark::State& state)
{
    static const auto connector = [] {
        auto bus = std::make_shared<LocalConnector>();
        for (int stage = 1; stage <= 6; ++stage) {
            bus->registerProvider("connector/http/router", std::make_shared<Passing>(stage == 6));
        }
        return bus;
    }();
    for (auto _ : state) {
        benchmark::DoNotOptimize(connector->createContext()->send(
            std::make_unique<HttpResponse>(200, nullptr), "connector/http/router"));
    }
}
BENCHMARK(passSixStages)->ThreadRange(1, 2)->UseRealTime();

void findRoute(benchmark::State& state)
{
    static HttpRouterImpl router({{"/assets", "assets"}, {"", "site"}});
    const std::string path = "/assets/app/main.min.js";
    for (auto _ : state) {
        benchmark::DoNotOptimize(router.findAddress(path));
    }
}
BENCHMARK(findRoute)->ThreadRange(1, 2)->UseRealTime();

/// What one request costs the session manager: a lookup and an update, each time of another
/// session.
void lookupAndUpdate(benchmark::State& state)
{
    static const auto manager = std::make_shared<HttpSessionManagerImpl>();
    static const auto ids = [] {
        const common::ManualTick clock; // nothing expires
        return fill(*manager);
    }();
    std::size_t next = static_cast<std::size_t>(state.thread_index()) * 7919;
    const auto context = std::make_shared<Rest>();
    for (auto _ : state) {
        next = (next + 54'321) % kSessions;
        auto [id, session, found] = manager->getOrCreateSession(ids[next], context);
        manager->updateSession(id, std::move(session));
    }
}
BENCHMARK(lookupAndUpdate)->ThreadRange(1, 2)->UseRealTime();

/// A sweep that deletes 100,000 sessions, while another thread asks for the mutex every 20 us. The
/// counters tell the longest that this thread had to wait; on a busy machine that is the system's
/// time slices.
void sweep(benchmark::State& state)
{
    using Clock = std::chrono::steady_clock;
    std::vector<double> longest;
    for (auto _ : state) {
        common::ManualTick clock;
        HttpSessionManagerImpl manager;
        fill(manager);
        clock.advance(6000);
        std::atomic<bool> sweeping = false;
        std::atomic<bool> done = false;
        Clock::duration pause{};
        std::thread prober([&] {
            while (!done) {
                const auto begin = Clock::now();
                benchmark::DoNotOptimize(manager.getLastUsedSession());
                pause = std::max(pause, Clock::now() - begin);
                sweeping = true;
                while (Clock::now() - begin < std::chrono::microseconds(20)) {
                }
            }
        });
        while (!sweeping) {
        }
        const auto begin = Clock::now();
        clock.advance(600);
        state.SetIterationTime(std::chrono::duration<double>(Clock::now() - begin).count());
        done = true;
        prober.join();
        longest.push_back(std::chrono::duration<double, std::micro>(pause).count());
    }
    std::ranges::sort(longest);
    state.counters["pause_us_median"] = longest[longest.size() / 2];
    state.counters["pause_us_max"] = longest.back();
}
BENCHMARK(sweep)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(5);

} // namespace
} // namespace connector::http

int main(int argc, char** argv)
{
    connector::http::registerStages();
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) {
        return 1;
    }
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
