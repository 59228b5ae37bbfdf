// Which module has the dialog in the user's language: the rule, without the system's calls.
#pragma once

#include <string>
#include <vector>

/// The names of the modules to try, in order and in lower case but for "LangExt": for "de-AT" these
/// are "LangExt.de-at.dll" and "LangExt.de.dll".
///
/// `languages` are names of languages (BCP 47, case ignored) in the order of the user's preference.
/// The program itself speaks English, so English ends the search, and no module at all means
/// English. Chinese goes by its script: "zh-SG" gives "LangExt.zh-hans-sg.dll" and
/// "LangExt.zh-hans.dll", and a "zh" with neither script nor country gives none. Nor does what is
/// not a language's name.
std::vector<std::wstring> ModuleNames(const std::vector<std::wstring>& languages);
