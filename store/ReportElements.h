#pragma once

/// The elements and attributes of a report.
namespace report {
inline constexpr char RootElement[] = "PeltoRpt";
inline constexpr char CommandSection[] = "cmd_stat";
inline constexpr char CommandList[] = "cmds";
inline constexpr char CommandElement[] = "cmd";
inline constexpr char FileTypeSection[] = "ftype_stat";
inline constexpr char FileTypeList[] = "ftypes";
inline constexpr char FileTypeElement[] = "ftype";
inline constexpr char SystemSection[] = "sys_info";
inline constexpr char ApplicationSection[] = "app_info";
inline constexpr char CustomerSection[] = "cust_info";
inline constexpr char PropertyElement[] = "prop";
inline constexpr char NameAttribute[] = "name";
inline constexpr char CategoryAttribute[] = "cat";
inline constexpr char OrderAttribute[] = "id";
inline constexpr char CountAttribute[] = "count";
inline constexpr char OpenedAttribute[] = "ocnt";
inline constexpr char SavedAttribute[] = "scnt";

// Elements of an older form of the report. They are loaded, but never written
// (docs/compatibility.md, 16).
inline constexpr char CommandChainElement[] = "cmd_chain";
inline constexpr char CounterSection[] = "counter";
inline constexpr char RunToolList[] = "run_tools";
inline constexpr char RunToolElement[] = "run_tool";

// The names of properties that have no category.
inline constexpr char IdentifierProperty[] = "ID";
inline constexpr char ApplicationNameProperty[] = "app_name";
inline constexpr char ApplicationVersionProperty[] = "app_ver";
inline constexpr char EmailProperty[] = "Email";
}  // namespace report
