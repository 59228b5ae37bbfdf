#include "collector/storage/ExportLine.h"

#include <nlohmann/json.hpp>

namespace pelto::collector {

std::string export_line(const KeptDelivery& kept) {
  using nlohmann::ordered_json;
  const Delivery& delivery = kept.delivery;
  const Report& report = delivery.report;
  ordered_json line;
  line["received"] = format_time(delivery.received);
  line["product"] = delivery.product;
  line["id"] = delivery.id;
  line["installation"] = report.installation;
  line["application"] = report.application;
  line["version"] = report.version;
  line["replaced"] = kept.is_replaced;
  ordered_json& commands = line["commands"] = ordered_json::array();
  for (const CommandCount& command : report.commands) {
    commands.push_back({{"name", command.name}, {"uses", command.uses}, {"order", command.order}});
  }
  ordered_json& file_types = line["file_types"] = ordered_json::array();
  for (const FileTypeCount& file_type : report.file_types) {
    file_types.push_back(
        {{"name", file_type.name}, {"opened", file_type.opened}, {"saved", file_type.saved}});
  }
  ordered_json& machine = line["machine"] = ordered_json::array();
  for (const MachineValue& property : report.machine) {
    machine.push_back(
        {{"category", property.category}, {"name", property.name}, {"value", property.value}});
  }
  return line.dump(-1, ' ', false, ordered_json::error_handler_t::replace);
}

}  // namespace pelto::collector
