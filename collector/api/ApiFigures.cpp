// Figures, and what is kept.
#include <string>
#include <vector>

#include "collector/api/ApiCall.h"
#include "collector/figures/Answer.h"
#include "collector/figures/Threshold.h"
#include "collector/http/Problem.h"

namespace pelto::collector {

namespace {

using nlohmann::ordered_json;

/// Whether the query asks for CSV in place of JSON.
bool wants_csv(const ApiCall& call) {
  const std::string format = call.value("format").value_or("json");
  if (format != "json" && format != "csv") {
    throw ApiError(400, "bad-request", "the format is one of json and csv");
  }
  return format == "csv";
}

Response csv_response(const std::string& name, std::string csv) {
  Response response;
  response.content_type = "text/csv; charset=utf-8";
  response.body = std::move(csv);
  response.fields = no_store;
  response.fields += "Content-Disposition: attachment; filename=\"" + name + ".csv\"\r\n";
  return response;
}

}  // namespace

Response list_products(const ApiCall& call) {
  auto products = ordered_json::array();
  for (const std::string& name : call.context.storage.products()) {
    ordered_json product{{"name", name}, {"from", nullptr}, {"to", nullptr}};
    if (const auto periods = call.context.storage.periods(name)) {
      product["from"] = format_day(first_day_of(periods->first));
      product["to"] = format_day(last_day_of(periods->second));
    }
    products.push_back(std::move(product));
  }
  return json_response(200, {{"products", products}});
}

Response show_figure(const ApiCall& call) {
  FigureQuery query{call.name()};
  query.product = call.value("product");
  query.version = call.value("version");
  query.from = call.value("from");
  query.to = call.value("to");
  Storage& storage = call.context.storage;
  // The name is known to be one of the figures' after this.
  if (wants_csv(call)) return csv_response(query.name, figure_as_csv(storage, query));
  return json_line_response(figure_as_json(storage, query));
}

Response show_keeping(const ApiCall& call) {
  const KeepingPolicy& policy = call.context.keeping;
  Storage& storage = call.context.storage;
  const int threshold = storage.threshold();
  ordered_json json{{"threshold", threshold},
                    {"retention_days", policy.retention.count()},
                    {"forget_silent_days", nullptr},
                    {"keeps_email", policy.keeps_email},
                    {"keeps_adapter", policy.keeps_adapter}};
  if (policy.forget_silent) json["forget_silent_days"] = policy.forget_silent->count();
  ordered_json& products = json["products"] = ordered_json::array();
  for (const ProductKeeping& keeping : storage.keeping()) {
    ordered_json product{{"name", keeping.product},
                         {"since", nullptr},
                         {"deliveries", nullptr},
                         {"installations", nullptr},
                         {"raw_reports", nullptr}};
    if (!is_few(keeping.installations, threshold)) {
      if (keeping.since) {
        product["since"] = format_day(std::chrono::floor<std::chrono::days>(*keeping.since));
      }
      product["deliveries"] = keeping.deliveries;
      product["installations"] = keeping.installations;
      product["raw_reports"] = keeping.texts;
    }
    products.push_back(std::move(product));
  }
  return json_response(200, json);
}

Response list_contacts(const ApiCall& call) {
  const bool is_csv = wants_csv(call);
  const std::string product = find_product(call.context.storage, call.value("product"));
  const std::vector<Contact> contacts = call.context.storage.contacts(product);
  call.note(Action::export_data, "e-mail addresses of " + product);
  if (is_csv) {
    Table table{{"address", "received"}};
    for (const Contact& contact : contacts) {
      table.rows.push_back({contact.address, format_time(contact.received)});
    }
    return csv_response("contacts", table_as_csv(table));
  }
  auto list = ordered_json::array();
  for (const Contact& contact : contacts) {
    list.push_back({{"address", contact.address}, {"received", format_time(contact.received)}});
  }
  return json_response(200, {{"contacts", list}});
}

}  // namespace pelto::collector
