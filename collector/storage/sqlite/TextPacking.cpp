#include "collector/storage/sqlite/TextPacking.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <memory>
#include <tuple>
#include <vector>

#include <zstd.h>

#include "collector/storage/Storage.h"

namespace pelto::collector {

namespace {

struct FreeContext {
  void operator()(ZSTD_CCtx* context) const { ZSTD_freeCCtx(context); }
  void operator()(ZSTD_DCtx* context) const { ZSTD_freeDCtx(context); }
};

/// As many reports come one after the other, the contexts' memory is worth keeping.
ZSTD_CCtx* compressor() {
  thread_local const std::unique_ptr<ZSTD_CCtx, FreeContext> context(ZSTD_createCCtx());
  return context.get();
}

ZSTD_DCtx* decompressor() {
  thread_local const std::unique_ptr<ZSTD_DCtx, FreeContext> context(ZSTD_createDCtx());
  return context.get();
}

[[noreturn]] void throw_failed(const char* what) {
  throw StorageError(std::string("a report's text cannot be ") + what +
                     "; run check, and restore a backup");
}

/// Text for text as a sender writes it, in its order. Changes to this make texts unreadable that
/// are kept already.
std::string likely_text(Report report) {
  std::ranges::sort(report.commands, {}, &CommandCount::name);
  std::ranges::sort(report.file_types, {}, &FileTypeCount::name);
  std::ranges::sort(report.machine, {}, [](const MachineValue& property) {
    return std::tie(property.name, property.category);
  });
  std::string text = "<PeltoRpt>\n    <cmd_stat>\n        <cmds>\n";
  for (const CommandCount& command : report.commands) {
    text += "            <cmd id=\"" + std::to_string(command.order) + "\" name=\"" + command.name +
            "\" count=\"" + std::to_string(command.uses) + "\" />\n";
  }
  text += "        </cmds>\n    </cmd_stat>\n    <ftype_stat>\n        <ftypes>\n";
  for (const FileTypeCount& file_type : report.file_types) {
    text += "            <ftype name=\"" + file_type.name + "\" ocnt=\"" +
            std::to_string(file_type.opened) + "\" scnt=\"" + std::to_string(file_type.saved) +
            "\" />\n";
  }
  text += "        </ftypes>\n    </ftype_stat>\n    <sys_info>\n";
  for (const MachineValue& property : report.machine) {
    text += "        <prop name=\"" + property.name + "\" cat=\"" + property.category + "\">" +
            property.value + "</prop>\n";
  }
  text +=
      "        <prop name=\"MACAddress\" cat=\"Adapter\"></prop>\n"
      "        <prop name=\"ID\"></prop>\n    </sys_info>\n    <app_info>\n"
      "        <prop name=\"app_name\">" +
      report.application + "</prop>\n        <prop name=\"app_ver\">" + report.version +
      "</prop>\n    </app_info>\n    <cust_info>\n"
      "        <prop name=\"Email\"></prop>\n    </cust_info>\n</PeltoRpt>\n";
  return text;
}

}  // namespace

std::string pack_text(const Report& report) {
  const std::string likely = likely_text(report);
  ZSTD_CCtx* const context = compressor();
  ZSTD_CCtx_reset(context, ZSTD_reset_session_and_parameters);
  ZSTD_CCtx_setParameter(context, ZSTD_c_compressionLevel, 1);
  ZSTD_CCtx_refPrefix(context, likely.data(), likely.size());
  std::string packed(ZSTD_compressBound(report.text.size()), '\0');
  const std::size_t size =
      ZSTD_compress2(context, packed.data(), packed.size(), report.text.data(), report.text.size());
  if (ZSTD_isError(size) != 0) throw_failed("compressed");
  packed.resize(size);
  return packed;
}

std::string unpack_text(std::string_view packed, const Report& counts) {
  const std::string likely = likely_text(counts);
  const unsigned long long length = ZSTD_getFrameContentSize(packed.data(), packed.size());
  // No request is larger than some MiB.
  constexpr unsigned long long longest = 1ULL << 30;
  if (length > longest) throw_failed("read");
  std::string text(length, '\0');
  ZSTD_DCtx* const context = decompressor();
  ZSTD_DCtx_reset(context, ZSTD_reset_session_and_parameters);
  ZSTD_DCtx_refPrefix(context, likely.data(), likely.size());
  const std::size_t size =
      ZSTD_decompressDCtx(context, text.data(), text.size(), packed.data(), packed.size());
  if (ZSTD_isError(size) != 0 || size != text.size()) throw_failed("read");
  return text;
}

}  // namespace pelto::collector
