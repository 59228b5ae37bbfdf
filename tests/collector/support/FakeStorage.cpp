#include "tests/collector/support/FakeStorage.h"

#include <algorithm>
#include <cctype>
#include <iterator>
#include <tuple>

#include "collector/report/MachineClass.h"
#include "collector/report/RetryRule.h"

namespace pelto::collector::test {

namespace {

/// The installations of a number, of the selected version and of the others.
class Installations {
 public:
  void add(const std::string& installation, bool is_selected) {
    (is_selected ? here_ : elsewhere_).insert(installation);
  }
  bool is_selected() const { return !here_.empty(); }
  Basis basis() const {
    return {static_cast<std::int64_t>(here_.size()), static_cast<std::int64_t>(elsewhere_.size())};
  }

 private:
  std::set<std::string> here_;
  std::set<std::string> elsewhere_;
};

bool is_version_selected(const Selection& selection, const Delivery& delivery) {
  return !selection.version || *selection.version == delivery.report.version;
}

std::string in_small_letters(std::string text) {
  for (char& c : text) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return text;
}

}  // namespace

void FakeStorage::keep(Delivery delivery, TimeKind time_kind, std::function<void(Outcome)> done) {
  if (!is_ready_) {
    done(Outcome::failed);
    return;
  }
  const std::string product = delivery.product;
  const std::string id = delivery.id;
  const std::string installation = delivery.report.installation;
  products_.insert(product);
  const auto is_same = [&](const Entry& entry) {
    return entry.delivery.product == product && entry.delivery.id == id;
  };
  if (std::ranges::any_of(entries_, is_same)) {
    ++repeated_[{product, period_of(delivery.received), ""}];
    done(Outcome::repeated);
    return;
  }
  if (time_kind == TimeKind::arrival) {
    for (const Entry& entry : entries_) {
      if (entry.delivery.product != product || entry.delivery.report.installation != installation) {
        continue;
      }
      if (delivery.received <= entry.delivery.received) {
        delivery.received = entry.delivery.received + std::chrono::seconds{1};
      }
    }
  }
  entries_.push_back({std::move(delivery)});
  std::ranges::sort(entries_, {}, [](const Entry& entry) {
    return std::tuple{entry.delivery.received, entry.delivery.id, entry.delivery.product};
  });
  judge_anew(product, installation);
  done(std::ranges::find_if(entries_, is_same)->replaces ? Outcome::replaced : Outcome::accepted);
}

void FakeStorage::judge_anew(const std::string& product, const std::string& installation) {
  Entry* earlier = nullptr;
  for (Entry& entry : entries_) {
    const Delivery& delivery = entry.delivery;
    if (delivery.product != product || delivery.report.installation != installation) continue;
    entry.is_replaced = false;
    entry.replaces =
        earlier != nullptr && is_sent_again(earlier->delivery.report, earlier->delivery.received,
                                            delivery.report, delivery.received);
    if (entry.replaces) earlier->is_replaced = true;
    earlier = &entry;
  }
}

void FakeStorage::count_refusal(const std::string& product, Time received, std::string_view code) {
  ++refused_[{product, period_of(received), std::string(code)}];
}

std::vector<std::string> FakeStorage::products() {
  return {products_.begin(), products_.end()};
}

std::optional<std::pair<Period, Period>> FakeStorage::periods(const std::string& product) {
  std::optional<std::pair<Period, Period>> range;
  for (const Entry& entry : entries_) {
    if (entry.is_replaced || entry.delivery.product != product) continue;
    const Period period = period_of(entry.delivery.received);
    range = range ? std::pair{std::min(range->first, period), std::max(range->second, period)}
                  : std::pair{period, period};
  }
  return range;
}

std::vector<const FakeStorage::Entry*> FakeStorage::counted_in_range(
    const Selection& selection) const {
  std::vector<const Entry*> counted;
  for (const Entry& entry : entries_) {
    const Period period = period_of(entry.delivery.received);
    if (!entry.is_replaced && entry.delivery.product == selection.product &&
        period >= selection.from && period <= selection.to) {
      counted.push_back(&entry);
    }
  }
  return counted;
}

Basis FakeStorage::installations_of(const Selection& selection) const {
  Installations installations;
  for (const Entry* entry : counted_in_range(selection)) {
    installations.add(entry->delivery.report.installation,
                      is_version_selected(selection, entry->delivery));
  }
  return installations.basis();
}

Counts<PeriodRow> FakeStorage::count_periods(const Selection& selection) {
  struct Sums {
    std::int64_t reports = 0;
    Installations all;
    Installations first;
  };
  std::map<Period, Sums> sums;
  std::set<std::string> seen;
  for (const Entry& entry : entries_) {
    const Delivery& delivery = entry.delivery;
    if (entry.is_replaced || delivery.product != selection.product) continue;
    const std::string& installation = delivery.report.installation;
    const bool is_first = seen.insert(installation).second;
    const Period period = period_of(delivery.received);
    if (period < selection.from || period > selection.to) continue;
    const bool is_selected = is_version_selected(selection, delivery);
    Sums& sum = sums[period];
    sum.reports += is_selected ? 1 : 0;
    sum.all.add(installation, is_selected);
    if (is_first) sum.first.add(installation, is_selected);
  }
  Counts<PeriodRow> counts{installations_of(selection), {}};
  for (const auto& [period, sum] : sums) {
    if (!sum.all.is_selected()) continue;
    counts.rows.push_back({period, sum.reports, sum.all.basis(), sum.first.basis()});
  }
  return counts;
}

Counts<CommandRow> FakeStorage::count_commands(const Selection& selection) {
  struct Sums {
    std::int64_t uses = 0;
    Installations all;
    Installations placed;
    std::vector<std::int64_t> places;
  };
  std::map<std::string, Sums> sums;
  for (const Entry* entry : counted_in_range(selection)) {
    const bool is_selected = is_version_selected(selection, entry->delivery);
    const Report& report = entry->delivery.report;
    for (const CommandCount& command : report.commands) {
      Sums& sum = sums[command.name];
      sum.all.add(report.installation, is_selected);
      if (command.order > 0) sum.placed.add(report.installation, is_selected);
      if (!is_selected) continue;
      sum.uses += command.uses;
      if (command.order > 0) sum.places.push_back(command.order);
    }
  }
  Counts<CommandRow> counts{installations_of(selection), {}};
  for (auto& [name, sum] : sums) {
    if (!sum.all.is_selected()) continue;
    std::optional<std::int64_t> median;
    if (!sum.places.empty()) {
      std::ranges::sort(sum.places);
      median = sum.places[(sum.places.size() - 1) / 2];
    }
    counts.rows.push_back({name, sum.uses, sum.all.basis(), sum.placed.basis(), median});
  }
  return counts;
}

Counts<FileTypeRow> FakeStorage::count_file_types(const Selection& selection) {
  struct Sums {
    std::int64_t opened = 0;
    std::int64_t saved = 0;
    Installations all;
    Installations opening;
    Installations saving;
  };
  std::map<std::string, Sums> sums;
  for (const Entry* entry : counted_in_range(selection)) {
    const bool is_selected = is_version_selected(selection, entry->delivery);
    const Report& report = entry->delivery.report;
    for (const FileTypeCount& file_type : report.file_types) {
      Sums& sum = sums[file_type.name];
      sum.all.add(report.installation, is_selected);
      if (file_type.opened > 0) sum.opening.add(report.installation, is_selected);
      if (file_type.saved > 0) sum.saving.add(report.installation, is_selected);
      if (!is_selected) continue;
      sum.opened += file_type.opened;
      sum.saved += file_type.saved;
    }
  }
  Counts<FileTypeRow> counts{installations_of(selection), {}};
  for (const auto& [name, sum] : sums) {
    if (!sum.all.is_selected()) continue;
    counts.rows.push_back(
        {name, sum.opened, sum.saved, sum.all.basis(), sum.opening.basis(), sum.saving.basis()});
  }
  return counts;
}

Counts<VersionRow> FakeStorage::count_versions(const Selection& selection) {
  std::map<std::tuple<Period, std::string, std::string>, Installations> rows;
  for (const Entry* entry : counted_in_range(selection)) {
    if (!is_version_selected(selection, entry->delivery)) continue;
    const Report& report = entry->delivery.report;
    rows[{period_of(entry->delivery.received), report.application, report.version}].add(
        report.installation, true);
  }
  Counts<VersionRow> counts{installations_of(selection), {}};
  for (const auto& [key, installations] : rows) {
    const auto& [period, application, version] = key;
    counts.rows.push_back({period, application, version, installations.basis()});
  }
  return counts;
}

Counts<MachineRow> FakeStorage::count_machines(const Selection& selection) {
  // The entries are in the order of time, so the last one of an installation stays.
  std::map<std::pair<std::string, bool>, const Report*> latest;
  for (const Entry* entry : counted_in_range(selection)) {
    const Report& report = entry->delivery.report;
    if (report.machine.empty()) continue;
    latest[{report.installation, is_version_selected(selection, entry->delivery)}] = &report;
  }
  std::map<std::tuple<std::string, std::string, std::string>, Installations> rows;
  for (const auto& [key, report] : latest) {
    for (const MachineValue& property : report->machine) {
      const auto value = machine_class(property);
      if (!value) continue;
      rows[{property.category, property.name, *value}].add(key.first, key.second);
    }
  }
  Counts<MachineRow> counts{installations_of(selection), {}};
  for (const auto& [key, installations] : rows) {
    if (!installations.is_selected()) continue;
    const auto& [category, name, value] = key;
    counts.rows.push_back({category, name, value, installations.basis()});
  }
  return counts;
}

IntakeCounts FakeStorage::count_intake(const Selection& selection) {
  const auto is_in_range = [&](Period period) {
    return period >= selection.from && period <= selection.to;
  };
  IntakeCounts counts;
  for (const Entry& entry : entries_) {
    if (entry.delivery.product != selection.product ||
        !is_in_range(period_of(entry.delivery.received))) {
      continue;
    }
    ++counts.accepted;
    if (entry.replaces) ++counts.replaced;
  }
  for (const auto& [key, number] : repeated_) {
    if (key.product == selection.product && is_in_range(key.period)) counts.repeated += number;
  }
  for (const auto& [key, number] : refused_) {
    const bool is_here = key.product.empty() || key.product == selection.product;
    if (is_here && is_in_range(key.period)) counts.refused[key.code] += number;
  }
  return counts;
}

std::string FakeStorage::secret(const std::string& name) {
  std::string secret = name;
  secret.resize(32, '.');
  return secret;
}

std::vector<ProductKeeping> FakeStorage::keeping() {
  std::vector<ProductKeeping> all;
  for (const std::string& product : products_) {
    ProductKeeping keeping{product};
    std::set<std::string> installations;
    for (const Entry& entry : entries_) {
      if (entry.delivery.product != product) continue;
      if (!keeping.since) keeping.since = entry.delivery.received;
      ++keeping.deliveries;
      installations.insert(entry.delivery.report.installation);
      if (!entry.delivery.report.text.empty()) ++keeping.texts;
    }
    keeping.installations = static_cast<std::int64_t>(installations.size());
    all.push_back(keeping);
  }
  return all;
}

std::vector<Contact> FakeStorage::contacts(const std::string& product) {
  // An installation has one address in a product, the last one that it sent.
  std::map<std::string, Contact> latest;
  for (const Entry& entry : entries_) {
    const Report& report = entry.delivery.report;
    if (entry.delivery.product != product || report.email.empty()) continue;
    latest[report.installation] = {report.email, entry.delivery.received};
  }
  std::map<std::string, Time> addresses;
  for (const auto& [installation, contact] : latest) {
    Time& received = addresses[contact.address];
    received = std::max(received, contact.received);
  }
  std::vector<Contact> contacts;
  for (const auto& [address, received] : addresses) contacts.push_back({address, received});
  return contacts;
}

InstallationKeeping FakeStorage::keeping_of(const std::string& installation) {
  InstallationKeeping keeping;
  for (const Entry& entry : entries_) {
    const Report& report = entry.delivery.report;
    if (report.installation != installation) continue;
    keeping.deliveries.push_back({entry.delivery.received, entry.delivery.product, report.version,
                                  static_cast<std::int64_t>(report.commands.size()),
                                  static_cast<std::int64_t>(report.file_types.size()),
                                  !report.text.empty()});
    if (!report.email.empty()) keeping.has_email = true;
  }
  auto& deliveries = keeping.deliveries;
  keeping.total = std::ssize(deliveries);
  if (deliveries.size() > InstallationKeeping::most_deliveries) {
    const auto more = keeping.total - std::int64_t{InstallationKeeping::most_deliveries};
    deliveries.erase(deliveries.begin(), deliveries.begin() + more);
  }
  return keeping;
}

std::vector<KeptDelivery> FakeStorage::export_part(const std::optional<std::string>& installation,
                                                   ExportPlace& place) {
  // The place is the number of entries that were taken; few at a time, so that tests see parts.
  constexpr std::size_t most = 3;
  std::vector<KeptDelivery> part;
  auto index = static_cast<std::size_t>(place.product);
  for (; index < entries_.size() && part.size() < most; ++index) {
    const Entry& entry = entries_[index];
    if (installation && entry.delivery.report.installation != *installation) continue;
    KeptDelivery kept{entry.delivery, entry.is_replaced};
    kept.delivery.report.email.clear();
    kept.delivery.report.adapter_hash.clear();
    kept.delivery.report.text.clear();
    part.push_back(std::move(kept));
  }
  place.product = static_cast<std::int64_t>(index);
  return part;
}

ErasedCounts FakeStorage::erase_installation(const std::string& installation,
                                             const GoesOn& goes_on) {
  ErasedCounts erased;
  erased.is_whole = goes_on();
  if (!erased.is_whole) return erased;
  erased.traces_left = traces_left_;
  std::set<std::string> contacts;
  for (const Entry& entry : entries_) {
    const Report& report = entry.delivery.report;
    if (report.installation != installation) continue;
    ++erased.deliveries;
    if (!report.email.empty()) contacts.insert(in_small_letters(report.email));
  }
  erased.installations = erased.deliveries > 0 ? 1 : 0;
  erased.contacts = static_cast<std::int64_t>(contacts.size());
  std::erase_if(entries_, [&](const Entry& entry) {
    return entry.delivery.report.installation == installation;
  });
  return erased;
}

ErasedCounts FakeStorage::erase_email(const std::string& address, const GoesOn& goes_on) {
  std::set<std::string> installations;
  for (const Entry& entry : entries_) {
    const Report& report = entry.delivery.report;
    if (!report.email.empty() && in_small_letters(report.email) == in_small_letters(address)) {
      installations.insert(report.installation);
    }
  }
  ErasedCounts erased;
  erased.traces_left = traces_left_;
  for (const std::string& installation : installations) {
    const ErasedCounts one = erase_installation(installation, goes_on);
    erased.installations += one.installations;
    erased.deliveries += one.deliveries;
    erased.contacts += one.contacts;
  }
  return erased;
}

std::int64_t FakeStorage::remove_texts(Time before, const GoesOn& goes_on) {
  std::int64_t removed = 0;
  for (Entry& entry : entries_) {
    std::string& text = entry.delivery.report.text;
    if (entry.delivery.received >= before || text.empty()) continue;
    if (!goes_on()) break;
    text.clear();
    ++removed;
  }
  return removed;
}

ErasedCounts FakeStorage::erase_silent(Time before, const GoesOn& goes_on) {
  std::map<std::string, Time> last;
  for (const Entry& entry : entries_) {
    last[entry.delivery.report.installation] = entry.delivery.received;
  }
  ErasedCounts erased;
  erased.traces_left = traces_left_;
  for (const auto& [installation, time] : last) {
    if (time >= before) continue;
    if (!goes_on()) break;
    const ErasedCounts one = erase_installation(installation, to_the_end);
    erased.installations += one.installations;
    erased.deliveries += one.deliveries;
    erased.contacts += one.contacts;
  }
  return erased;
}

void FakeStorage::remove_traces(const GoesOn&) {
  if (!traces_left_.empty()) throw StorageError(traces_left_);
}

void FakeStorage::back_up(const std::string& path) {
  throw StorageError("a storage in memory cannot be copied to " + path);
}

}  // namespace pelto::collector::test
