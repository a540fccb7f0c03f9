// The configuration of one driver instance: name, enabled flag, historian data link,
// schedule, and the ordered descriptor, characteristic and condition definitions. From
// the definitions it derives TagItems, one item per distinct historian tag they reference.
// The configuration persists as one text (GetData/SetData).
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "common/DataLinkState.h"
#include "common/IntervalUnit.h"
#include "config/ConditionItem.h"
#include "config/DescriptorItem.h"
#include "config/TagItems.h"
#include "config/TestItem.h"
#include "host/Components.h"

namespace config {

class Configuration1 {
 public:
  // `components` outlives the configuration.
  explicit Configuration1(host::Components& components);

  // The host SPC database session; not part of the configuration text.
  const std::shared_ptr<host::DatabaseSession>& Database() const { return database_; }
  void SetDatabase(std::shared_ptr<host::DatabaseSession> database) {
    database_ = std::move(database);
  }

  void ClearData();

  const std::string& ConfigurationName() const { return record_.configurationName; }
  void SetConfigurationName(std::string name) { record_.configurationName = std::move(name); }
  bool Active() const { return record_.active; }
  void SetActive(bool active) { record_.active = active; }
  bool RealDateField() const { return realDateField_; }
  const std::string& DataLink() const { return record_.dataLink; }
  // Stores the link and tests it at once.
  void SetDataLink(std::string dataLink);
  // A code of common/DataLinkState.h.
  int32_t DataLinkState() const { return record_.dataLinkState; }
  const std::string& DataLinkError() const { return record_.dataLinkError; }
  int32_t SyncTime() const { return record_.syncTime; }
  void SetSyncTime(int32_t serial) { record_.syncTime = serial; }
  int32_t SubgroupInterval() const { return record_.subgroupInterval; }
  void SetSubgroupInterval(int32_t interval) { record_.subgroupInterval = interval; }
  // Unit codes: common/IntervalUnit.h, or any other number as read.
  int32_t SubgroupUnit() const { return record_.subgroupUnit; }
  void SetSubgroupUnit(int32_t unit) { record_.subgroupUnit = unit; }
  int32_t RetryInterval() const { return record_.retryInterval; }
  void SetRetryInterval(int32_t interval) { record_.retryInterval = interval; }
  int32_t RetryUnit() const { return record_.retryUnit; }
  void SetRetryUnit(int32_t unit) { record_.retryUnit = unit; }

  // Lists addressed by 1-based index; outside the list Get gives nullptr and Remove false.
  void AddDescriptor(std::shared_ptr<DescriptorItem> item);
  std::shared_ptr<DescriptorItem> GetDescriptorItem(int32_t index) const;
  bool RemoveDescriptorItem(int32_t index);
  // The first descriptor of the given type, or nullptr.
  std::shared_ptr<DescriptorItem> GetDescriptorType(int32_t type) const;
  int32_t DescriptorCount() const;

  void AddTest(std::shared_ptr<TestItem> item);
  std::shared_ptr<TestItem> GetTestItem(int32_t index) const;
  bool RemoveTestItem(int32_t index);
  int32_t TestCount() const;

  void AddCondition(std::shared_ptr<ConditionItem> item);
  std::shared_ptr<ConditionItem> GetConditionItem(int32_t index) const;
  bool RemoveConditionItem(int32_t index);
  int32_t ConditionCount() const;

  std::string GetData() const;
  // Replaces the whole configuration with what the text says. A line that cannot be read
  // raises an error naming Configuration1.SetData; what was read before it stays.
  void SetData(const std::string& text);

  const config::TagItems& TagItems() const { return tagItems_; }
  config::TagItems& TagItems() { return tagItems_; }
  // Sets DataLinkState and, on failure, DataLinkError. Takes the test the host shares for
  // the link while it starts this configuration (Components::SharedDataLinkTest), if any.
  // Never raises.
  void TestDataLink();
  // Fills `names` with every tag the definitions reference, each once; false (and `names`
  // untouched) when there is none.
  bool GetUniqueTagNames(std::vector<std::string>& names) const;

 private:
  struct Record {
    bool active = false;
    std::string configurationName;
    std::string dataLink;
    int32_t dataLinkState = common::kNoConnection;
    std::string dataLinkError;
    int32_t syncTime = 0;
    int32_t subgroupInterval = 15;
    int32_t subgroupUnit = common::kMinutes;
    int32_t retryInterval = 1;
    int32_t retryUnit = common::kMinutes;
  };

  void ReadLine(const std::string& line);
  void RebuildTagItems();
  void ReadTableDefinitions();

  host::Components& components_;
  std::shared_ptr<host::DatabaseSession> database_;
  Record record_;
  bool realDateField_ = false;
  std::vector<std::shared_ptr<DescriptorItem>> descriptors_;
  std::vector<std::shared_ptr<TestItem>> tests_;
  std::vector<std::shared_ptr<ConditionItem>> conditions_;
  config::TagItems tagItems_;
};

}  // namespace config
