// SPDX-License-Identifier: MIT
// A node gets at most one parent: its constructor's or the first link's.
#include "CommonProperties/TCPropertyLink.h"

#include "CommonProperties/TCBasicPropertyID.h"
#include "CommonProperties/TCEarlyDeclarations.h"
#include "Platform/Utility/TCCriticalSection.h"
#include "Platform/Utility/TCException.h"

namespace Property {

namespace {

char const* const kSource = "../CommonProperties/TCPropertyLink";

struct TSLink {
  TCBasicPropertyID* m_From;
  TCBasicPropertyID const* m_Parent;
};

using TEarlyLinks = TCEarlyDeclarations<TSLink>;

/// By the node to be linked while that is not constructed, then by its parent.
TEarlyLinks& EarlyLinks() {
  static TEarlyLinks& Result = *new TEarlyLinks;
  return Result;
}

void RequireNoParent(bool HasParent, TCBasicPropertyID const& From) {
  if (HasParent) {
    throw TCException(kSource, __LINE__, "From.m_Parent.IsNull()==true")
        .Format("Property %s do allready have a parent", From.Viewname(false).c_str());
  }
}

}  // namespace

TCPropertyLink::TCPropertyLink(TCBasicPropertyID& From, TCBasicPropertyID const& Parent) {
  TCCriticalSectionLock Lock(TCBasicPropertyID::m_CSection);
  if (!TCBasicPropertyID::IsConstructed(From)) {
    EarlyLinks().Add(&From, {&From, &Parent});
    return;
  }
  auto const LinksFrom = [&](TSLink const& Link) { return Link.m_From == &From; };
  RequireNoParent(!From.m_Parent.IsNull() || EarlyLinks().FindFirst(LinksFrom) != nullptr, From);
  if (TCBasicPropertyID::IsConstructed(Parent)) {
    From.m_Parent = Parent.get_Number();
  } else {
    EarlyLinks().Add(&Parent, {&From, &Parent});
  }
}

TCPropertyLink::~TCPropertyLink() = default;

void TCPropertyLink::Connect(TCBasicPropertyID& Node) {
  TEarlyLinks::TDeclared const* const Waiting = EarlyLinks().Find(&Node);
  if (Waiting == nullptr) {
    return;
  }
  bool HasParent = !Node.m_Parent.IsNull();
  TEarlyLinks::TDeclared const Links = *Waiting;
  for (TSLink const& Link : Links) {
    if (Link.m_From != &Node) {
      continue;
    }
    RequireNoParent(HasParent, Node);
    HasParent = true;
  }
  for (TSLink const& Link : Links) {
    if (TCBasicPropertyID::IsConstructed(*Link.m_Parent)) {
      Link.m_From->m_Parent = Link.m_Parent->get_Number();
    } else {
      EarlyLinks().Add(Link.m_Parent, Link);
    }
  }
  EarlyLinks().Drop(&Node);
}

void TCPropertyLink::RequireConstructed() {
  TSLink const* const Link = EarlyLinks().First();
  if (Link == nullptr) {
    return;
  }
  if (TCBasicPropertyID::IsConstructed(*Link->m_From)) {
    throw TCException(kSource, __LINE__)
        .Format("Property %s is linked to a parent that is not constructed",
                Link->m_From->Viewname(false).c_str());
  }
  if (TCBasicPropertyID::IsConstructed(*Link->m_Parent)) {
    throw TCException(kSource, __LINE__)
        .Format("A property that is not constructed is linked to the parent %s",
                Link->m_Parent->Viewname(false).c_str());
  }
  throw TCException(kSource, __LINE__)
      .Format("A property link has two nodes that are not constructed");
}

}  // namespace Property
