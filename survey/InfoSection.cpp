#include "survey/InfoSection.h"

#include <utility>

/// Frees in loops: default destruction would recurse once per row, property and level and could
/// exhaust the stack. The children join the row chain, so that one loop reaches every section.
InfoSection::~InfoSection() {
  while (firstProperty_) firstProperty_ = std::move(firstProperty_->next);
  InfoSection* last = AppendChildrenTo(FindLastRow());
  while (nextRow_) {
    const std::unique_ptr<InfoSection> row = std::move(nextRow_);
    last = row->AppendChildrenTo(last);
    nextRow_ = std::move(row->nextRow_);
  }
}

void InfoSection::AddProperty(std::wstring_view name, std::wstring_view value) {
  auto property = std::make_unique<InfoProperty>();
  property->name = name;
  property->value = value;
  *endOfProperties_ = std::move(property);
  endOfProperties_ = &(*endOfProperties_)->next;
}

const InfoProperty* InfoSection::FindProperty(std::wstring_view name) const {
  const InfoProperty* property = firstProperty_.get();
  while (property != nullptr && property->name != name) property = property->next.get();
  return property;
}

InfoSection& InfoSection::GetOrAddNextRow() {
  if (!nextRow_) nextRow_ = std::make_unique<InfoSection>(name_);
  return *nextRow_;
}

void InfoSection::AddChild(std::unique_ptr<InfoSection>&& child) {
  if (!child || child->parent_ != nullptr) return;
  InfoSection& added = *child;
  children_.push_back(std::move(child));
  added.parent_ = this;
}

const InfoProperty* InfoSection::GetFirstProperty() {
  propertyCursor_ = &firstProperty_;
  return GetNextProperty();
}

const InfoProperty* InfoSection::GetNextProperty() {
  const InfoProperty* const property = propertyCursor_->get();
  if (property != nullptr) propertyCursor_ = &property->next;
  return property;
}

InfoSection* InfoSection::GetFirstChild() {
  childCursor_ = 0;
  return GetNextChild();
}

InfoSection* InfoSection::GetNextChild() {
  return childCursor_ < children_.size() ? children_[childCursor_++].get() : nullptr;
}

InfoSection* InfoSection::FindLastRow() {
  InfoSection* row = this;
  while (row->nextRow_) row = row->nextRow_.get();
  return row;
}

/// Moves the children, each with the rows after it, to the row chain after `last`. Returns the new
/// last row.
InfoSection* InfoSection::AppendChildrenTo(InfoSection* last) {
  for (std::unique_ptr<InfoSection>& child : children_) {
    last->nextRow_ = std::move(child);
    last = last->FindLastRow();
  }
  children_.clear();
  return last;
}
