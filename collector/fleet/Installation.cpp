#include "collector/fleet/Installation.h"

#include <algorithm>
#include <cstddef>
#include <unordered_set>
#include <utility>

#include "collector/fleet/Catalog.h"
#include "collector/fleet/Random.h"

namespace pelto::collector {

namespace {

using std::chrono::days;
using std::chrono::hours;
using std::chrono::seconds;

/// What a sequence of random numbers is for. Sequences of different purposes are independent, so
/// that a change to one leaves the others as they are.
enum Purpose : std::uint64_t { habits = 1, plan, usage, growing, machines };

constexpr days description_age{30};
constexpr days limit_of_retries{27};
constexpr int release_step = 3;
/// This many versions were out before the history begins.
constexpr int earlier_releases = 2;

seconds random_time(Random& random, seconds first, seconds last) {
  return seconds(random.between(first.count(), last.count()));
}

Time start_of(const FleetOptions& options) {
  return first_day_of(first_period_of(options));
}

Time end_of(const FleetOptions& options) {
  return first_day_of(last_period_of(options) + 1);
}

Time release_time(const FleetOptions& options, int version) {
  return start_of(options) + period_length * (release_step * (version + 1 - earlier_releases) - 1);
}

/// The installation's command at the first place in a report: another one than in the report
/// before.
int first_command(const std::vector<int>& commands, int report) {
  return commands[static_cast<std::size_t>(report % 2)];
}

/// More for popular commands.
std::int64_t random_uses(Random& random, int command) {
  return 1 + random.below(1 + 300 / (command + 3)) * random.below(4) + random.below(8);
}

/// When the sender of a report that got no answer tries again.
seconds time_to_retry(Random& random) {
  if (random.is_one_of_1000(20)) return limit_of_retries;
  if (random.is_one_of_1000(20)) return limit_of_retries + seconds(1);
  if (random.is_one_of_1000(40)) return random_time(random, days(30), days(120));
  return random_time(random, hours(8), days(6));
}

/// When the next report comes after a confirmed one.
seconds time_to_next_report(Random& random) {
  seconds time = period_length + random_time(random, hours(1), hours(40));
  if (random.is_one_of_1000(200)) time += random_time(random, days(1), days(6));
  if (random.is_one_of_1000(25)) time += random_time(random, days(20), days(150));
  return time;
}

}  // namespace

Period last_period_of(const FleetOptions& options) {
  return period_of(options.until) - 1;
}

Period first_period_of(const FleetOptions& options) {
  return last_period_of(options) - options.periods + 1;
}

std::vector<std::string> versions_of(const FleetOptions& options) {
  // 1.10 comes after 1.9 by number, and before it by text.
  std::vector<std::string> names{"1.8.0.0", "1.9.0.0", "1.10.0.0", "1.10.1.0", "2.0.0.0"};
  std::size_t count = earlier_releases;
  while (release_time(options, static_cast<int>(count)) < end_of(options)) ++count;
  while (names.size() < count) names.push_back("2." + std::to_string(names.size() - 4) + ".0.0");
  names.resize(count);
  return names;
}

Installation::Installation(const FleetOptions& options, std::int64_t number)
    : options_(options), number_(static_cast<std::uint64_t>(number)) {
  choose_habits();
  plan_deliveries();
}

int Installation::code_page() const {
  return languages()[static_cast<std::size_t>(language_)].code_page;
}

void Installation::choose_habits() {
  Random random{options_.seed, habits, number_};
  identifier_ = random.guid();
  application_ = random.is_one_of_1000(150) ? "Example Designer LT" : "Example Designer";
  if (random.is_one_of_1000(300)) email_ = "user" + std::to_string(number_) + "@example.com";
  std::int64_t left = random.below(1000);
  while (left >= languages()[static_cast<std::size_t>(language_)].share) {
    left -= languages()[static_cast<std::size_t>(language_)].share;
    ++language_;
  }
  // A sum of equal parts has a bell's shape, so that the adoption of a version has that of an S.
  for (int i = 0; i < 3; ++i) hesitation_ += random_time(random, seconds(0), days(40));
  keeps_version_ = random.is_one_of_1000(80);
  for (int command = 0; command < command_count; ++command) {
    // By Zipf's law: the chance falls with the rank.
    if (command < 2 || random.is_one_of_1000(32'000 / (command + 8))) commands_.push_back(command);
  }
  // Which of the two most popular commands comes first differs between users.
  if (random.is_one_of_1000(400)) std::swap(commands_[0], commands_[1]);
  for (int type = 0; std::cmp_less(type, file_types().size()); ++type) {
    if (random.is_one_of_1000(file_types()[static_cast<std::size_t>(type)].share)) {
      file_types_.push_back(type);
    }
  }
}

int Installation::version_at(Time time) const {
  int version = 0;
  if (keeps_version_) return version;
  while (release_time(options_, version + 1) + hesitation_ <= time) ++version;
  return version;
}

void Installation::plan_deliveries() {
  Random random{options_.seed, plan, number_};
  const Time start = start_of(options_);
  const Time end = end_of(options_);
  const bool was_there_before = random.is_one_of_1000(350);
  const seconds latest_begin = was_there_before ? seconds(period_length) : end - start;
  Time time = start + seconds(random.below(latest_begin.count()));
  Time description_due = Time::min();
  int machine = 0;
  for (int report = 0; time < end; ++report) {
    if (random.is_one_of_1000(25)) ++machine;
    SimulatedDelivery delivery;
    delivery.report = report;
    for (bool is_confirmed = false; !is_confirmed && time < end; ++delivery.growth) {
      delivery.time = time;
      // A description that was asked for stays in the report until it is delivered.
      if (time >= description_due) delivery.machine = machine;
      plan_request(random, delivery);
      is_confirmed = !random.is_one_of_1000(70);
      if (!is_confirmed) time += time_to_retry(random);
    }
    if (time >= description_due) description_due = time + description_age;

    if (random.is_one_of_1000(8)) return;  // Never seen again.
    if (random.is_one_of_1000(15)) {
      // The settings are lost, and their dates with them.
      description_due = Time::min();
      time += random_time(random, days(1), days(25));
    } else {
      time += time_to_next_report(random);
    }
  }
}

/// One request, and its copies in some cases.
void Installation::plan_request(Random& random, SimulatedDelivery delivery) {
  const Time end = end_of(options_);
  delivery.id = random.guid();
  delivery.version = version_at(delivery.time);
  deliveries_.push_back(delivery);
  if (random.is_one_of_1000(20)) {
    delivery.is_repeated = true;
    delivery.time += seconds(random.below(20));
    if (delivery.time < end) deliveries_.push_back(delivery);
  } else if (random.is_one_of_1000(15)) {
    delivery.id = random.guid();
    delivery.time += seconds(random.between(1, 5));
    if (delivery.time < end) deliveries_.push_back(delivery);
  }
}

bool Installation::is_empty(const SimulatedDelivery& delivery) const {
  Random random{options_.seed, usage, number_, static_cast<std::uint64_t>(delivery.report)};
  return random.is_one_of_1000(15) && delivery.growth == 0;
}

Report Installation::report_of(const SimulatedDelivery& delivery) const {
  Report report = count_usage(delivery);
  report.installation = identifier_;
  report.application = application_;
  report.version = versions_of(options_)[static_cast<std::size_t>(delivery.version)];
  report.email = email_;
  if (delivery.machine >= 0) {
    Random random{options_.seed, machines, number_, static_cast<std::uint64_t>(delivery.machine)};
    report.machine = make_machine(random, languages()[static_cast<std::size_t>(language_)]);
  }
  std::ranges::sort(report.commands, {}, &CommandCount::name);
  std::ranges::sort(report.file_types, {}, &FileTypeCount::name);
  return report;
}

Report Installation::count_usage(const SimulatedDelivery& delivery) const {
  Report report;
  if (is_empty(delivery)) return report;
  Random random{options_.seed, usage, number_, static_cast<std::uint64_t>(delivery.report)};
  const int first = first_command(commands_, delivery.report);
  // Popular commands tend to be used earlier, as those of a lower number do here.
  std::vector<std::pair<std::int64_t, int>> used{{-1, first}};
  for (const int command : commands_) {
    if (command == first || !random.is_one_of_1000(580)) continue;
    used.emplace_back(random.below(command + 40), command);
  }
  std::ranges::sort(used);
  for (const auto& [moment, command] : used) {
    report.commands.push_back({command_name(language_, command), random_uses(random, command),
                               std::ssize(report.commands) + 1});
  }
  for (const int type : file_types_) {
    if (!random.is_one_of_1000(700)) continue;
    const std::int64_t saved = random.below(20);
    report.file_types.push_back(
        {file_types()[static_cast<std::size_t>(type)].name, random.below(30) + 1, saved});
  }
  for (int growth = 1; growth <= delivery.growth; ++growth) grow(report, delivery, growth);
  return report;
}

void Installation::grow(Report& report, const SimulatedDelivery& delivery, int growth) const {
  Random random{options_.seed, growing, number_, static_cast<std::uint64_t>(delivery.report),
                static_cast<std::uint64_t>(growth)};
  std::unordered_set<std::string> known;
  for (CommandCount& command : report.commands) {
    known.insert(command.name);
    if (random.is_one_of_1000(250)) command.uses += random.between(1, 10);
  }
  for (const int command : commands_) {
    const std::string name = command_name(language_, command);
    if (!random.is_one_of_1000(80) || known.contains(name)) continue;
    report.commands.push_back({name, random.between(1, 5), std::ssize(report.commands) + 1});
  }
  for (FileTypeCount& type : report.file_types) {
    type.opened += random.below(4);
    type.saved += random.below(3);
  }
}

}  // namespace pelto::collector
