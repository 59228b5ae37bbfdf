#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

/// One value of a section, and behind it the next.
struct InfoProperty {
  std::wstring name;
  std::wstring value;
  std::unique_ptr<InfoProperty> next;
};

/// A named section of the machine's description: a category, one row of a query's result, or the
/// root of all. It owns its properties, the rows behind it and its children; a tree of any length
/// and depth is freed without exhausting the stack.
class InfoSection {
 public:
  /// A name longer than this is cut, by code units.
  static constexpr std::size_t NameLimit = 49;

  explicit InfoSection(std::wstring_view name) : name_(name.substr(0, NameLimit)) {}
  InfoSection(const InfoSection&) = delete;
  InfoSection& operator=(const InfoSection&) = delete;
  ~InfoSection();

  const std::wstring& GetName() const { return name_; }
  /// The section that this one is a child of, or null. The rows behind a child have none.
  const InfoSection* GetParent() const { return parent_; }

  /// Appends a property. One of the same name stays as it is, before the new one.
  void AddProperty(std::wstring_view name, std::wstring_view value);
  /// The first property of exactly this name, letter case included, or null.
  const InfoProperty* FindProperty(std::wstring_view name) const;

  /// The row behind this one, which is made, under the same name, when there is none.
  InfoSection& GetOrAddNextRow();
  /// The row behind this one, or null. Makes none.
  const InfoSection* GetNextRow() const { return nextRow_.get(); }

  /// Takes `child` and appends it to the children. A null child, or one that has a parent, is
  /// ignored and stays with the caller. `child` must not own this section.
  void AddChild(std::unique_ptr<InfoSection>&& child);

  /// Back to the first property, and that one, or null when there is none.
  const InfoProperty* GetFirstProperty();
  /// The property behind the one that was given last, or null at the end. At first, the first.
  const InfoProperty* GetNextProperty();
  /// The same for the children, in the order in which they were added.
  InfoSection* GetFirstChild();
  InfoSection* GetNextChild();

 private:
  InfoSection* FindLastRow();
  InfoSection* AppendChildrenTo(InfoSection* last);

  std::wstring name_;
  std::unique_ptr<InfoSection> nextRow_;
  const InfoSection* parent_ = nullptr;
  std::unique_ptr<InfoProperty> firstProperty_;
  /// Where the next property is appended, and which one the cursor gives next.
  std::unique_ptr<InfoProperty>* endOfProperties_ = &firstProperty_;
  const std::unique_ptr<InfoProperty>* propertyCursor_ = &firstProperty_;
  std::vector<std::unique_ptr<InfoSection>> children_;
  std::size_t childCursor_ = 0;
};
