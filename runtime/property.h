// An observable value of an asyncObject: the host sets and binds it, the object writes and observes it.
#pragma once
#include "runtime/asyncObject.h"
#include "runtime/snapshot.h"
#include <functional>
#include <string>
#include <type_traits>

namespace larch {

namespace detail {

template <class T> struct hostCallback { using type = void (*)(T); };
template <> struct hostCallback<std::string> { using type = void (*)(const char*); };
template <class U> struct hostCallback<std::shared_ptr<U>> { using type = void (*)(handle*); };

// Scalars are read by other threads as one word; the rest is published as immutable snapshots.
template <class T> constexpr bool isWord = std::is_arithmetic_v<T>;
struct noSnapshot {};

} // namespace detail

// T is float, double, int32_t, bool, std::string or std::shared_ptr of an asyncObject class. set() and write() run on the owner's
// group only (or in the owner's constructor); bind() runs on the host's thread and posts nothing on a group.
template <class T> class property {
 public:
  using hostFunction = typename detail::hostCallback<T>::type;
  static constexpr bool word = detail::isWord<T>;

  T value{}; // read directly on the owner's group; elsewhere by get()
  hostFunction callback = nullptr;
  asyncObject* owner = nullptr;   // null until bound; the property is a member of it
  std::function<void()> observer; // set by the owning class in its constructor
  bool hasValue = false;          // true as soon as the object has done an own write

  property() : property(T{}) {}
  explicit property(T initial) : value(std::move(initial)) { publish(); }
  property(const property&) = delete;
  property& operator=(const property&) = delete;

  // Any thread. A scalar is one relaxed word, rt; a string or object is a copy of the last published one, not rt.
  T get() const {
    if constexpr (word)
      return loadWord(value);
    else
      return published_.load();
  }

  // The body of the host's set: no callback, and hasValue stays (but for objects, whose sets count as values).
  void set(const T& wanted) {
    if (differs(wanted)) change(wanted);
    if constexpr (isObject) storeWord(hasValue, true);
  }

  // An own write: observer, then the host's callback by its next poll.
  void write(const T& wanted) {
    if (differs(wanted)) {
      change(wanted);
      post();
    }
    storeWord(hasValue, true);
  }

  // Host's thread. Delivers the present value at the next poll when there has been an own write.
  void bind(asyncObject* self, hostFunction function) {
    const bool deliver = loadWord(hasValue);
    storeWord(owner, self);
    storeWord(callback, function);
    if (deliver) post();
  }

 private:
  static constexpr bool isObject = std::is_same_v<hostFunction, void (*)(handle*)>;

  // NaN on either side counts as different
  bool differs(const T& wanted) const {
    if constexpr (word)
      return !(get() == wanted); // signal code may write what the host sets on the owner's group
    else
      return !(value == wanted);
  }
  void change(const T& wanted) {
    if constexpr (word)
      storeWord(value, wanted);
    else
      value = wanted;
    publish();
    if (observer) observer();
  }
  void publish() {
    if constexpr (!word) published_.publish(value);
  }
  void post() {
    const hostFunction function = loadWord(callback);
    asyncObject* holder = loadWord(owner);
    if (!function || !holder) return;
    if constexpr (word) {
      holder->queueUpdate([function, v = get()] { function(v); });
    } else if constexpr (isObject) {
      holder->queueUpdate([function, object = get()] { function(new handle{object}); });
    } else {
      // the text and the callback of the moment when the host runs it: several writes deliver the newest text several times
      holder->queueUpdate([this] {
        const std::function<void(const char*)> now = loadWord(callback);
        now(published_.load().c_str());
      });
    }
  }

  std::conditional_t<word, detail::noSnapshot, snapshot<T>> published_;
};

} // namespace larch
