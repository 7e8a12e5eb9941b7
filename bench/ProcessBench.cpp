// How long one event takes, including the start of the process. It is compared with the least that a process
// can do, and with hooks written by hand for the same job. One run starts all of them in random order, each
// five times in a row. So a busy moment of the machine slows all of them down alike.
//
//   process_bench [--only EXPERIMENT] [--starts N] [--hook PROGRAM] [--against PROGRAM] RESULTS.csv
//
// EXPERIMENT is "starts" (over both floors), "starts on a disk", "peers", "stored" (sessions), "log" (its
// size), "parallel", "disk" or "titles". Home directories are made in TMPDIR, which should be in memory. On a
// disk some starts would wait until the data of other programs is written. The home directories on a disk are
// beside the results, and so are copies of the measured programs.
// "--against" measures another build of tavrin-hook in the same run as "starts". bench/report.py makes tables
// of the results.
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iostream>
#include <numeric>
#include <random>
#include <span>
#include <stdexcept>

#include "TavrinCore/Transcripts/ClaudeSessionTitles.hpp"
#include "bench/BenchHome.hpp"
#include "bench/EventPayload.hpp"
#include "bench/PeerCheck.hpp"
#include "bench/Starts.hpp"

namespace tavrin::bench {

namespace {

constexpr std::size_t usualSize = 3'000;

struct Options {
  std::string only;
  std::size_t starts = 0;  ///< 0 for each experiment's own number
  std::string hook = TAVRIN_HOOK_EXECUTABLE;
  std::string against;
  std::string results;
};

Options parse(std::vector<std::string> words) {
  Options options;
  for (std::size_t i = 1; i < words.size(); ++i) {
    const bool hasValue = i + 1 < words.size();
    if (words[i] == "--only" && hasValue) {
      options.only = words[++i];
    } else if (words[i] == "--starts" && hasValue) {
      options.starts = std::stoul(words[++i]);
    } else if (words[i] == "--hook" && hasValue) {
      options.hook = words[++i];
    } else if (words[i] == "--against" && hasValue) {
      options.against = words[++i];
    } else if (options.results.empty() && !words[i].starts_with("--")) {
      options.results = words[i];
    } else {
      throw std::invalid_argument("what is " + words[i] + "?");
    }
  }
  if (options.results.empty()) throw std::invalid_argument("the file for the results is missing");
  return options;
}

// One of the programs that an experiment compares.
struct Contestant {
  std::string name;
  std::function<Cost()> run;
  Samples samples = {};
};

class Bench {
 public:
  explicit Bench(const Options& options) : options_(options), results_(options.results) {
    if (!results_) throw std::runtime_error("cannot write " + options.results);
    results_ << "experiment,case,contestant,runs,wall_median,wall_tenth,processor_median,processor_tenth\n";
  }

  void runAll() {
    checkPeers(hook_, peers_);
    if (wants("starts")) startsOverTheFloors("starts", std::filesystem::temp_directory_path());
    if (wants("starts on a disk")) startsOverTheFloors("starts on a disk", besideResults(""));
    if (wants("peers")) besideHandWrittenHooks();
    if (wants("stored")) withManySessions();
    if (wants("log")) withALongLog();
    if (wants("parallel")) manyAtOnce();
    if (wants("disk")) onADisk();
    if (wants("titles")) inTheDesktopApp();
  }

 private:
  bool wants(std::string_view experiment) const {
    return options_.only.empty() || options_.only == experiment;
  }

  // Starts each contestant `starts` times, in rounds of another order. In a round each starts a few times in
  // a row, because the first start finds the caches as another contestant left them.
  void compete(const std::string& experiment, const std::string& name, std::size_t starts,
               std::vector<Contestant> contestants) {
    if (options_.starts != 0) starts = options_.starts;
    constexpr std::size_t inARow = 5;
    const std::size_t rounds = (starts + inARow - 1) / inARow;
    std::vector<std::size_t> order(contestants.size());
    std::iota(order.begin(), order.end(), 0);
    for (Contestant& contestant : contestants) contestant.run();
    for (std::size_t round = 0; round < rounds; ++round) {
      std::shuffle(order.begin(), order.end(), random_);
      for (const std::size_t i : order) {
        for (std::size_t j = 0; j < inARow; ++j) contestants[i].samples.add(contestants[i].run());
      }
    }
    for (const Contestant& contestant : contestants) {
      const Cost median = contestant.samples.median();
      const Cost tenth = contestant.samples.tenth();
      results_ << experiment << ',' << name << ',' << contestant.name << ',' << contestant.samples.count()
               << ',' << median.wall << ',' << tenth.wall << ',' << median.processor << ',' << tenth.processor
               << std::endl;
    }
    std::cerr << "Measured: " << experiment << ", " << name << '\n';
  }

  static Contestant starting(const Program& program, const BenchHome& home, const std::string& payload) {
    return {.name = program.name, .run = [&] { return run(program, home.path(), payload); }};
  }

  // A program in a file of its own, as install.sh writes it. The linker writes one in small pieces, which the
  // system's cache keeps apart, and the start of such a program takes longer.
  Program installed(Program program) const {
    const std::filesystem::path source = program.words.front();
    const std::filesystem::path copy = besideResults("program-" + program.name);
    std::filesystem::remove(copy);
    test::writeFile(copy, test::readFile(source));
    std::filesystem::permissions(copy, std::filesystem::perms::owner_all);
    program.words.front() = copy.string();
    return program;
  }

  std::filesystem::path besideResults(const std::string& name) const {
    return std::filesystem::absolute(options_.results).parent_path() / name;
  }

  void startsOverTheFloors(const std::string& experiment, const std::filesystem::path& directory) {
    const auto start = [&](const std::string& name, const std::string& event, const Program& calls,
                           bool hasHost) {
      const BenchHome home(recordedSession, directory);
      if (!hasHost) home.forgetHost();
      std::vector<Contestant> contestants = {starting(floor_, home, event), starting(calls, home, event),
                                             starting(hook_, home, event)};
      const Program other = {.name = "the other tavrin-hook", .words = {options_.against}};
      if (!options_.against.empty()) contestants.push_back(starting(other, home, event));
      compete(experiment, name, 1'000, std::move(contestants));
    };
    for (const std::size_t size : payloadSizes) start(std::to_string(size), eventPayload(size), calls_, true);
    for (const std::size_t size : {payloadSizes[2], payloadSizes[3]})
      start(std::to_string(size) + " with escapes", escapedEventPayload(size), calls_, true);
    start(std::to_string(usualSize) + " without a host", eventPayload(usualSize), callsWithoutHost_, false);
  }

  void besideHandWrittenHooks() {
    for (const std::size_t size : payloadSizes) {
      const BenchHome home(recordedSession);
      const std::string event = eventPayload(size);
      std::vector<Contestant> contestants = {starting(floor_, home, event), starting(hook_, home, event)};
      for (const Program& peer : peers_) contestants.push_back(starting(peer, home, event));
      compete("peers", std::to_string(size), 200, std::move(contestants));
    }
  }

  void withManySessions() {
    const std::string event = eventPayload(usualSize);
    const BenchHome few(recordedSession);
    const BenchHome many(recordedSession);
    few.addSessions(10);
    many.addSessions(10'000);
    Contestant inFew = starting(hook_, few, event);
    Contestant inMany = starting(hook_, many, event);
    inFew.name = "10 sessions";
    inMany.name = "10000 sessions";
    compete("stored", std::to_string(usualSize), 2'000, {inFew, inMany});
  }

  void withALongLog() {
    const std::string event = eventPayload(usualSize);
    const BenchHome shortLog(recordedSession);
    const BenchHome longLog(recordedSession);
    longLog.fillLog(800'000);  // leaves room for the lines of this experiment
    Contestant inShort = starting(hook_, shortLog, event);
    Contestant inLong = starting(hook_, longLog, event);
    inShort.name = "a new log";
    inLong.name = "a long log";
    compete("log", std::to_string(usualSize), 2'000, {inShort, inLong});
    if (std::filesystem::file_size(longLog.logFile()) < 800'000)
      throw std::runtime_error("the long log was rotated");
  }

  // 40 tool calls begin in one session, first one after the other, then all at once.
  void manyAtOnce() {
    constexpr std::size_t runs = 40;
    const BenchHome home(recordedSession);
    std::vector<std::string> events;
    for (std::size_t i = 0; i < runs; ++i) {
      std::string event = eventPayload(usualSize);
      const std::string_view id = "toolu_01";
      const std::size_t place = event.find(id);
      if (place == std::string::npos) throw std::runtime_error("the event has no call id to replace");
      event.replace(place + id.size(), 2, std::to_string(10 + i));
      events.push_back(std::move(event));
    }
    const auto measured = [&home](const std::function<double()>& all) {
      home.resetSession();
      const auto since = std::chrono::steady_clock::now();
      const double processor = all();
      const std::chrono::duration<double, std::micro> wall = std::chrono::steady_clock::now() - since;
      const std::optional<Session> session = home.session();
      if (!session || session->inFlight.size() != runs) throw std::runtime_error("an event was lost");
      return Cost{.wall = wall.count(), .processor = processor};
    };
    const auto inTurn = [&] {
      double processor = 0;
      for (const std::string& event : events) processor += run(hook_, home.path(), event).processor;
      return processor;
    };
    const auto atOnce = [&] {
      std::vector<Started> started;
      for (const std::string& event : events) started.push_back(start(hook_, home.path(), event));
      double processor = 0;
      for (const Started& one : started) processor += finish(one).processor;
      return processor;
    };
    compete("parallel", std::to_string(runs), 40,
            {{.name = "one after the other", .run = [&] { return measured(inTurn); }},
             {.name = "at once", .run = [&] { return measured(atOnce); }}});
  }

  void onADisk() {
    const BenchHome memory(recordedSession);
    const BenchHome disk(recordedSession, besideResults(""));
    const std::string event = eventPayload(usualSize);
    Contestant inMemory = starting(hook_, memory, event);
    Contestant onDisk = starting(hook_, disk, event);
    inMemory.name = "files in memory";
    onDisk.name = "files on a disk";
    compete("disk", std::to_string(usualSize), 1'000, {inMemory, onDisk});
  }

  // Among the titles of other sessions there is none for this one. A folder among them has them listed.
  void inTheDesktopApp() {
    const BenchHome plain(recordedSession);
    const BenchHome app(recordedSession);
    Session session = *app.session();
    session.hostBundleId = ClaudeSessionTitles::desktopBundleIdentifier;
    test::writeFile(app.sessionFile(recordedSession), session.encode());
    const std::filesystem::path folder =
        ClaudeSessionTitles::defaultDirectory(app.string()) + "/account/project";
    for (int i = 0; i < 20'000; ++i)
      test::writeFile(folder / ("local_" + std::to_string(i) + ".json"), R"({"title":"Another"})");
    test::writeFile(folder / "folder/file", "");
    const std::string event = eventPayload(usualSize);
    Contestant elsewhere = starting(hook_, plain, event);
    Contestant inApp = starting(hook_, app, event);
    elsewhere.name = "in a terminal";
    inApp.name = "20000 titles of others";
    compete("titles", std::to_string(usualSize), 1'000, {elsewhere, inApp});
  }

  Options options_;
  std::ofstream results_;
  std::mt19937 random_{1};
  Program floor_ = installed({.name = "floor", .words = {TAVRIN_BENCH_FLOOR}});
  Program calls_ =
      installed({.name = "floor-calls", .words = {TAVRIN_BENCH_FLOOR_CALLS, std::string(recordedSession)}});
  Program callsWithoutHost_ = {.name = "floor-calls",
                               .words = {calls_.words[0], std::string(recordedSession), "without-host"}};
  Program hook_ = installed({.name = "tavrin-hook", .words = {options_.hook}});
  std::vector<Program> peers_ = handWrittenHooks();
};

// The processes above a hook, from the outermost on: a session over ssh(1), and in it the agent and the shell
// that it starts hooks with. No application is among them.
constexpr std::array<const char*, 9> ancestors = {"sshd", "sshd",   "bash", "tmux: server", "zsh", "node",
                                                  "bash", "claude", "sh"};

// Waits for a child, and ends as it did.
[[noreturn]] void follow(pid_t child) {
  int status = 0;
  ::waitpid(child, &status, 0);
  ::_exit(WIFEXITED(status) ? WEXITSTATUS(status) : 1);
}

// Continues in a process that has all of them above it, this one included.
void becomeTheLastOf(std::span<const char* const> names) {
  ::prctl(PR_SET_NAME, names.front());
  for (const char* const name : names.subspan(1)) {
    const pid_t child = ::fork();
    if (child < 0) ::_exit(1);
    if (child > 0) follow(child);
    ::prctl(PR_SET_NAME, name);
  }
}

}  // namespace

}  // namespace tavrin::bench

int main(int argc, char** argv) {
  tavrin::bench::becomeTheLastOf(tavrin::bench::ancestors);
  try {
    tavrin::bench::Bench(tavrin::bench::parse(std::vector<std::string>(argv, argv + argc))).runAll();
  } catch (const std::exception& error) {
    std::cerr << "process_bench: " << error.what() << '\n';
    return 1;
  }
  return 0;
}
