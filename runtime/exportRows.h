// How the exported functions are written: one row for each property, event, collection, object and verb.
//
// A *Exports.cpp file includes larchlib.h first, so that a row with a wrong type doesn't compile. In it the plain name of a class
// is the host's opaque type and larch::name is the class. Handles aren't tested for null, but a handle that holds null does
// nothing; all these functions run on the host's thread.
#pragma once
#include "runtime/asyncCollection.h"
#include "runtime/asyncObject.h"
#include "runtime/library.h"
#include "runtime/property.h"

namespace larch {

template <class M> struct memberOf;
template <class C, class V> struct memberOf<V C::*> {
  using owner = C;
  using type = V;
};
template <auto member> using ownerOf = typename memberOf<decltype(member)>::owner;

template <class X> std::shared_ptr<X> objectOf(const void* h) {
  return std::static_pointer_cast<X>(static_cast<const handle*>(h)->object);
}

// A task on the object's set ring; `body` gets the object and keeps it alive until it has run. What goes wrong is logged.
template <class X, class Body> void queueOnObject(const void* h, const char* name, Body body) {
  try {
    auto object = objectOf<X>(h);
    if (!object) return;
    asyncObject& base = *object;
    base.queueSetItem(seqTask([object = std::move(object), body = std::move(body)] { body(*object); }, name));
  } catch (const std::exception& e) {
    logError("queueSetItem {} {}", e.what(), name);
  } catch (...) {
    writeDump("queuesetitem", name);
    logError("queueSetItem {}", name);
  }
}

template <auto member, class V> void setProperty(const void* h, V value, const char* name) {
  using X = ownerOf<member>;
  queueOnObject<X>(h, name, [value = std::move(value)](X& object) { (object.*member).set(value); });
}
template <auto member> void setText(const void* h, const char* text, const char* name) {
  setProperty<member>(h, std::string(text ? text : ""), name);
}
template <auto member, class U> void setObject(const void* h, const void* item, const char* name) {
  setProperty<member>(h, objectOf<U>(item), name);
}
// The host's callback types differ from ours in the handle's name only.
template <auto member, class F> void bindProperty(const void* h, F callback) {
  const auto object = objectOf<ownerOf<member>>(h);
  if (!object) return;
  using ours = decltype((object.get()->*member).callback);
  (object.get()->*member).bind(object.get(), reinterpret_cast<ours>(callback));
}
template <auto member, class U>
void setCollection(const void* h, int32_t action, int32_t index, const void* item, const char* name) {
  using X = ownerOf<member>;
  queueOnObject<X>(h, name, [=, row = objectOf<U>(item)](X& object) { (object.*member).set(action, index, row); });
}
template <auto member> void resetCollection(const void* h, const char* name) {
  using X = ownerOf<member>;
  queueOnObject<X>(h, name, [](X& object) { (object.*member).reset(); });
}
template <auto member, class F> void bindEvent(const void* h, F callback) {
  const auto object = objectOf<ownerOf<member>>(h);
  if (!object) return;
  using ours = typename memberOf<decltype(member)>::type;
  storeWord(object.get()->*member, reinterpret_cast<ours>(callback));
}

template <class Opaque, class X> Opaque* createObject() {
  return reinterpret_cast<Opaque*>(new handle{std::make_shared<X>(defaultGroup())});
}
inline void releaseHandle(void* h) { delete static_cast<handle*>(h); }

} // namespace larch

#define LARCH_LIFE(X)                                                                                                            \
  X* X##_create(void) { return larch::createObject<X, larch::X>(); }                                                             \
  void X##_release(X* h) { larch::releaseHandle(h); }
#define LARCH_SCALAR(X, P, T)                                                                                                    \
  void X##_bind##P(X* h, void (*callback)(T)) { larch::bindProperty<&larch::X::P>(h, callback); }                                \
  void X##_set##P(X* h, T value) { larch::setProperty<&larch::X::P, T>(h, value, #X "." #P ".set"); }
#define LARCH_TEXT(X, P)                                                                                                         \
  void X##_bind##P(X* h, void (*callback)(const char*)) { larch::bindProperty<&larch::X::P>(h, callback); }                      \
  void X##_set##P(X* h, const char* value) { larch::setText<&larch::X::P>(h, value, #X "." #P ".set"); }
#define LARCH_OBJECT(X, P, U)                                                                                                    \
  void X##_bind##P(X* h, void (*callback)(U*)) { larch::bindProperty<&larch::X::P>(h, callback); }                               \
  void X##_set##P(X* h, U* value) { larch::setObject<&larch::X::P, larch::U>(h, value, #X "." #P ".set"); }
#define LARCH_COLLECTION(X, P, U)                                                                                                \
  void X##_bind##P(X* h, void (*callback)(int32_t, int32_t, U*)) { larch::bindProperty<&larch::X::P>(h, callback); }             \
  void X##_set##P(X* h, int32_t action, int32_t index, U* item) {                                                                \
    larch::setCollection<&larch::X::P, larch::U>(h, action, index, item, #X "." #P ".set");                                      \
  }                                                                                                                              \
  void X##_reset##P(X* h) { larch::resetCollection<&larch::X::P>(h, #X "." #P ".reset"); }
// the arguments after P are those of the host's callback
#define LARCH_EVENT(X, P, ...)                                                                                                   \
  void X##_bind##P(X* h, void (*callback)(__VA_ARGS__)) { larch::bindEvent<&larch::X::P>(h, callback); }
