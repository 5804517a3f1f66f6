#include "host/deviceList.h"
#include "runtime/larchlib.h"
#include <algorithm>
#include <cctype>

namespace larchhost {
namespace {

// The library's callbacks carry no context: while a list is read, its rows are collected here. Everything runs on the poll's
// thread.
std::vector<ValueLabelItem*> rows;
std::vector<int32_t> values;
std::vector<std::string> labels;

void ignoreEnd(int32_t) {}

// Binds deliver row by row, value and label of each, in the order of the binds.
std::vector<soundDevice> readRows() {
  values.clear();
  labels.clear();
  for (ValueLabelItem* row : rows) {
    asyncObject_bindDeleted(reinterpret_cast<asyncObject*>(row), ignoreEnd);
    ValueLabelItem_bindValue(row, [](int32_t v) { values.push_back(v); });
    ValueLabelItem_bindLabel(row, [](const char* v) { labels.emplace_back(v); });
  }
  getUpdates();
  std::vector<soundDevice> devices;
  for (size_t i = 0; i < std::min(values.size(), labels.size()); i++) devices.push_back({values[i], labels[i]});
  for (ValueLabelItem* row : rows) {
    ValueLabelItem_bindValue(row, nullptr);
    ValueLabelItem_bindLabel(row, nullptr);
    ValueLabelItem_release(row);
  }
  rows.clear();
  return devices;
}

void addRow(int32_t, int32_t, ValueLabelItem* item) { rows.push_back(item); }

std::string lower(std::string text) {
  std::transform(text.begin(), text.end(), text.begin(), [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  return text;
}

} // namespace

deviceLists readDevices() {
  deviceLists lists;
  Wireless* wireless = Wireless_create();
  asyncObject_bindDeleted(reinterpret_cast<asyncObject*>(wireless), ignoreEnd);
  Wireless_bindoutputDevices(wireless, addRow);
  getUpdates();
  lists.outputs = readRows();
  Wireless_bindoutputDevices(wireless, nullptr);
  Wireless_bindinputDevices(wireless, addRow);
  getUpdates();
  lists.inputs = readRows();
  Wireless_bindinputDevices(wireless, nullptr);
  Wireless_release(wireless);
  getUpdates();
  return lists;
}

std::optional<int32_t> findDevice(const std::vector<soundDevice>& devices, const std::string& text) {
  if (lower(text) == "none") return -1;
  for (const auto& d : devices)
    if (std::to_string(d.id) == text) return d.id;
  for (const auto& d : devices)
    if (lower(d.name).find(lower(text)) != std::string::npos) return d.id;
  return {};
}

} // namespace larchhost
