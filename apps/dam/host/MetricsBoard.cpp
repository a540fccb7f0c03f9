#include "apps/dam/host/MetricsBoard.h"

#include <QString>
#include <cmath>
#include <map>
#include <sstream>

#include "apps/dam/output/JsonOutput.h"
#include "runtime/Clock.h"

namespace dam {
namespace {

// `text` with what is not UTF-8 in it replaced by U+FFFD: a scraper refuses the whole page
// for one name that is not UTF-8.
std::string Utf8(const std::string& text) {
  return QString::fromStdString(text).toStdString();
}

// A label value as the exposition format quotes it.
std::string Quoted(const std::string& text) {
  std::string quoted = "\"";
  for (const char c : Utf8(text)) {
    if (c == '\\' || c == '"') {
      quoted += '\\';
      quoted += c;
    } else if (c == '\n') {
      quoted += "\\n";
    } else {
      quoted += c;
    }
  }
  return quoted + '"';
}

std::string Number(double value) {
  std::ostringstream text;
  text.precision(15);
  text << value;
  return text.str();
}

class Exposition {
 public:
  // The HELP and TYPE lines of a metric, before its samples.
  void Family(const char* name, const char* type, const char* help) {
    name_ = name;
    out_ << "# HELP " << name << ' ' << help << "\n# TYPE " << name << ' ' << type << '\n';
  }
  void Sample(const std::string& labels, double value) {
    out_ << name_ << (labels.empty() ? "" : "{" + labels + "}") << ' ' << Number(value) << '\n';
  }
  std::string Text() const { return out_.str(); }

 private:
  std::ostringstream out_;
  std::string name_;
};

}  // namespace

void MetricsBoard::Publish(const std::string& configuration, const ConfigurationMetrics& metrics) {
  std::lock_guard lock(mutex_);
  configurations_[configuration] = metrics;
}

void MetricsBoard::Remove(const std::string& configuration) {
  std::lock_guard lock(mutex_);
  configurations_.erase(configuration);
}

void MetricsBoard::PublishSpool(int64_t depth) {
  std::lock_guard lock(mutex_);
  spooled_ = depth;
}

std::string MetricsBoard::Render() const {
  std::lock_guard lock(mutex_);
  Exposition out;
  const auto each = [&](const char* name, const char* type, const char* help, const auto& value) {
    out.Family(name, type, help);
    for (const auto& [configuration, metrics] : configurations_) {
      if (const std::optional<double> v = value(metrics)) {
        out.Sample("configuration=" + Quoted(configuration), *v);
      }
    }
  };
  const auto time = [](const std::optional<runtime::Date>& t) -> std::optional<double> {
    if (!t) return std::nullopt;
    return UnixSeconds(*t);
  };
  each("dam_driver_running", "gauge", "1 while the configuration's driver is running.",
       [](const ConfigurationMetrics& m) {
         return std::optional(m.state == "running" ? 1.0 : 0.0);
       });
  each("dam_subgroups_saved_total", "counter", "Subgroups saved since the start.",
       [](const ConfigurationMetrics& m) { return std::optional(static_cast<double>(m.saved)); });
  out.Family("dam_collection_errors_total", "counter",
             "Collection errors since the start, by description.");
  for (const auto& [configuration, metrics] : configurations_) {
    // Descriptions that differ only in bytes that are not UTF-8 read the same once those are
    // replaced: one series each, as a scraper drops a series that comes twice.
    std::map<std::string, int64_t> shown;
    for (const auto& [description, count] : metrics.errors) shown[Quoted(description)] += count;
    for (const auto& [description, count] : shown) {
      out.Sample("configuration=" + Quoted(configuration) + ",description=" + description,
                 static_cast<double>(count));
    }
  }
  each("dam_last_collection_timestamp_seconds", "gauge", "When the last collection started.",
       [&](const ConfigurationMetrics& m) { return time(m.lastCollection); });
  each("dam_last_collection_duration_seconds", "gauge", "How long the last collection took.",
       [](const ConfigurationMetrics& m) { return m.lastCollectionSeconds; });
  each("dam_next_collection_timestamp_seconds", "gauge", "When the next collection is planned.",
       [&](const ConfigurationMetrics& m) { return time(m.nextCollection); });
  each("dam_historian_reachable", "gauge",
       "1 when the historian answered the last collection's query.",
       [](const ConfigurationMetrics& m) {
         return std::optional(m.historianReachable ? 1.0 : 0.0);
       });
  each("dam_spc_database_reachable", "gauge",
       "1 unless subgroups wait in the spool for the SPC database.",
       [](const ConfigurationMetrics& m) { return std::optional(m.spcReachable ? 1.0 : 0.0); });
  out.Family("dam_spool_subgroups", "gauge",
             "Subgroups the process keeps in its spool for the SPC database.");
  out.Sample("", static_cast<double>(spooled_));
  return out.Text();
}

Health MetricsBoard::Check(runtime::Date now) const {
  std::lock_guard lock(mutex_);
  if (configurations_.empty()) return {false, "no driver is running\n"};
  std::string reasons;
  for (const auto& [configuration, metrics] : configurations_) {
    if (metrics.state != "running") {
      reasons += Utf8(configuration) + ": the driver is " + metrics.state + "\n";
    } else if (metrics.nextCollection &&
               runtime::Between(*metrics.nextCollection, now) >
                   std::chrono::milliseconds(std::llround(metrics.retrySeconds * 1000))) {
      reasons += Utf8(configuration) + ": the collection planned for " +
                 runtime::FormatGeneralDate(*metrics.nextCollection) + " is overdue\n";
    }
  }
  return {reasons.empty(), reasons.empty() ? "ok\n" : reasons};
}

}  // namespace dam
