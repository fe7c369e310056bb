#pragma once

#include <algorithm>
#include <string>
#include <utility>
#include <vector>

#include "Collator.h"
#include "SharedString.h"

namespace qrb::detail {

/// Brings one of the elements to the front, if it is among them, and sorts the others by their names, as the user's
/// language sorts. Each name is asked for once; elements of one name stay in their order.
template <class Element, class NameOf>
void sortByName(std::vector<Element>& elements, const Element& first, NameOf nameOf) {
  const auto& collator = Collator::ofUser();
  std::vector<std::pair<std::string, Element>> keyed;
  keyed.reserve(elements.size());
  for (Element& element : elements) {
    String name = nameOf(element);
    keyed.emplace_back(collator.sortKey(name.view()), std::move(element));
  }
  std::stable_sort(keyed.begin(), keyed.end(), [&first](const auto& a, const auto& b) {
    bool aIsFirst = a.second == first;
    bool bIsFirst = b.second == first;
    return aIsFirst != bIsFirst ? aIsFirst : a.first < b.first;
  });
  std::transform(keyed.begin(), keyed.end(), elements.begin(), [](auto& entry) { return std::move(entry.second); });
}

}  // namespace qrb::detail
