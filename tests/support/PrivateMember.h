// PrivateMember: a way to what a class keeps to itself, for what a test can see in no other way. An explicit
// instantiation may name private members. Outside any namespace:
//
//   struct SlotOf {
//     using Type = boost::shared_ptr<Slot> TELVOCSPContext::*;
//     friend Type Expose(SlotOf tag);
//   };
//   template struct PrivateMember<SlotOf, &TELVOCSPContext::m_slot>;
//   ... context.*Expose(SlotOf()) ...
#pragma once

template <typename Tag, typename Tag::Type member>
struct PrivateMember {
  friend typename Tag::Type Expose(Tag /*tag*/) { return member; }
};
