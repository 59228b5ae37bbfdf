#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

/// One value of a section and the link to the next value.
struct InfoProperty {
  std::wstring name;
  std::wstring value;
  std::unique_ptr<InfoProperty> next;
};

/// A named section of the machine's description: a category, one row of a query result, or the
/// root. It owns its properties, the rows after it and its children. A tree of any length and depth
/// is freed without exhausting the stack.
class InfoSection {
 public:
  /// In UTF-16 code units; a longer name is cut.
  static constexpr std::size_t NameLimit = 49;

  explicit InfoSection(std::wstring_view name) : name_(name.substr(0, NameLimit)) {}
  InfoSection(const InfoSection&) = delete;
  InfoSection& operator=(const InfoSection&) = delete;
  ~InfoSection();

  const std::wstring& GetName() const { return name_; }
  /// The section that this one is a child of, or null. Rows after a child have no parent.
  const InfoSection* GetParent() const { return parent_; }

  /// Appends a property. An earlier one of the same name is kept.
  void AddProperty(std::wstring_view name, std::wstring_view value);
  /// The first property of exactly this name (case-sensitive), or null.
  const InfoProperty* FindProperty(std::wstring_view name) const;

  /// The row after this one. Makes it, with the same name, when there is none.
  InfoSection& GetOrAddNextRow();
  /// The row after this one, or null.
  const InfoSection* GetNextRow() const { return nextRow_.get(); }

  /// Takes `child` and appends it to the children. A null child, or one that has a parent, is
  /// ignored and stays with the caller. `child` must not own this section.
  void AddChild(std::unique_ptr<InfoSection>&& child);

  /// Restarts the cursor and returns the first property, or null when there is none.
  const InfoProperty* GetFirstProperty();
  /// The property after the last one returned, or null at the end. Without a restart it begins with
  /// the first property.
  const InfoProperty* GetNextProperty();
  /// The same for the children, in the order of their addition.
  InfoSection* GetFirstChild();
  InfoSection* GetNextChild();

 private:
  InfoSection* FindLastRow();
  InfoSection* AppendChildrenTo(InfoSection* last);

  std::wstring name_;
  std::unique_ptr<InfoSection> nextRow_;
  const InfoSection* parent_ = nullptr;
  std::unique_ptr<InfoProperty> firstProperty_;
  /// The link where the next property is appended, and the link to the cursor's next property.
  std::unique_ptr<InfoProperty>* endOfProperties_ = &firstProperty_;
  const std::unique_ptr<InfoProperty>* propertyCursor_ = &firstProperty_;
  std::vector<std::unique_ptr<InfoSection>> children_;
  std::size_t childCursor_ = 0;
};
