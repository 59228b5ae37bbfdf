#pragma once

#include <string>

namespace pelto::collector {

/// Overwrites the rows in a page of an SQLite file with zeros if it is a leaf of a table, so that
/// only its unused parts keep their bytes (https://www.sqlite.org/fileformat2.html, section 1.6).
/// Rows beyond the page's end, and pages of other kinds, stay as they are. The file's first page is
/// of another kind, and pages have no reserved bytes.
void blank_rows(std::string& page);

}  // namespace pelto::collector
