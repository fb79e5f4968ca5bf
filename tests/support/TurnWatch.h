// TurnWatch: lets a test look at the log while the turn of an item ends: `look` runs before each mutex is given back.
#pragma once

#include <functional>

class TurnWatch {
 public:
  explicit TurnWatch(std::function<void()> look);
  ~TurnWatch();
  TurnWatch(const TurnWatch&) = delete;
  TurnWatch& operator=(const TurnWatch&) = delete;
};
