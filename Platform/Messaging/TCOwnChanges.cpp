// SPDX-License-Identifier: MIT
// Keeps account of the changes on their way, key by key.
#include "Platform/Messaging/TCOwnChanges.h"

#include <algorithm>

namespace {

// Of larger mails the keys are not listed; any key may be among them.
constexpr int kListedRecords = 256;

}  // namespace

bool TCOwnChanges::TSStream::HasKeysOf(TCNorvMailBody const& Body) const {
  return KeyFields != 0 && Body.get_Signature() == Signature;
}

std::vector<std::string> TCOwnChanges::TSStream::KeysOf(TCNorvMailBody const& Body) const {
  std::vector<std::string> Keys;
  Keys.reserve(static_cast<std::size_t>(Body.get_Count()));
  for (int Index = 0; Index < Body.get_Count(); ++Index) {
    Keys.push_back(Body.get_Key(Index, KeyFields));
  }
  return Keys;
}

// ---- changes of this process ----

TCOwnChanges::TCMoment TCOwnChanges::Mark() {
  std::lock_guard<std::mutex> const Lock(m_Mutex);
  m_Marks.push_back(++m_Now);
  return m_Now;
}

void TCOwnChanges::Unmark(TCMoment Mark) {
  std::lock_guard<std::mutex> const Lock(m_Mutex);
  EndMark(Mark);
}

void TCOwnChanges::EndMark(TCMoment Mark) {
  m_Marks.erase(std::remove(m_Marks.begin(), m_Marks.end(), Mark), m_Marks.end());
  if (m_Marks.empty()) {
    for (auto& [Name, Stream] : m_Streams) {
      Stream.Touched.clear();
    }
  }
}

void TCOwnChanges::Sent(std::string const& Stream, std::uint64_t Number, TCNorvMailBody const& Body,
                        TCMoment Mark) {
  std::lock_guard<std::mutex> const Lock(m_Mutex);
  if (Body.get_KeyFields() != 0) {
    TSStream& Known = m_Streams[Stream];
    Known.KeyFields = Body.get_KeyFields();
    Known.Signature = Body.get_Signature();
    for (std::string& Key : Known.KeysOf(Body)) {
      bool const TakeBack = MayBeReplaced(Known, Key, Mark);
      auto const [Place, IsNew] = Known.Changes.try_emplace(std::move(Key));
      TSChange& Change = Place->second;
      if (!IsNew) {
        CountOut(Known, Change.Number);
      }
      Change = {Number, IsNew ? Mark : std::max(Mark, Change.Made), TakeBack};
      ++Known.Numbers[Number];
    }
  }
  EndMark(Mark);
}

// Whether the process may hold another value of `Key` than that of its change at `Since`.
bool TCOwnChanges::MayBeReplaced(TSStream const& Stream, std::string const& Key,
                                 TCMoment Since) const {
  auto const Change = Stream.Changes.find(Key);
  if (Change != Stream.Changes.end() && Change->second.Made > Since) {
    return true;  // by a later change, which was sent before
  }
  auto const Touched = Stream.Touched.find(Key);
  if (m_AnyTouched > Since || (Touched != Stream.Touched.end() && Touched->second > Since)) {
    return true;
  }
  return std::any_of(m_UnderWay.begin(), m_UnderWay.end(), [&](TSUnderWay const& UnderWay) {
    return UnderWay.Any || (UnderWay.Stream == &Stream && UnderWay.Keys.count(Key) != 0);
  });
}

// ---- what the service publishes and answers ----

TCOwnChanges::TSHandover TCOwnChanges::BeginOwn(std::string const& Stream, std::uint64_t Number,
                                                TCBody const& Body) {
  std::lock_guard<std::mutex> const Lock(m_Mutex);
  TSStream& Known = m_Streams[Stream];
  std::vector<std::string> Keys;
  std::vector<bool> Taken;
  if (Known.HasKeysOf(*Body)) {
    Keys = Known.KeysOf(*Body);
    Taken = TakenOfOwn(Known, Number, Keys);
    EndWay(Known, Number, Keys);
  } else {
    Taken.assign(static_cast<std::size_t>(Body->get_Count()), false);
  }
  return Begin(Known, Body, Keys, Taken);
}

bool TCOwnChanges::EndsSilently(std::string const& Stream, std::uint64_t Number,
                                TCNorvMailBody const& Body) {
  std::lock_guard<std::mutex> const Lock(m_Mutex);
  TSStream& Known = m_Streams[Stream];
  if (!Known.HasKeysOf(Body)) {
    return true;
  }
  std::vector<std::string> const Keys = Known.KeysOf(Body);
  std::vector<bool> const Taken = TakenOfOwn(Known, Number, Keys);
  if (std::find(Taken.begin(), Taken.end(), true) != Taken.end()) {
    return false;
  }
  EndWay(Known, Number, Keys);
  return true;
}

std::vector<bool> TCOwnChanges::TakenOfOwn(TSStream const& Stream, std::uint64_t Number,
                                           std::vector<std::string> const& Keys) const {
  std::vector<bool> Taken;
  Taken.reserve(Keys.size());
  for (std::string const& Key : Keys) {
    auto const Change = Stream.Changes.find(Key);
    // Of a change whose way has ended without its copy it is not known what came before the copy.
    Taken.push_back(Change == Stream.Changes.end() ||
                    (Change->second.Number <= Number && Change->second.TakeBack));
  }
  return Taken;
}

TCOwnChanges::TSHandover TCOwnChanges::BeginForeign(std::string const& Stream, TCBody const& Body) {
  std::lock_guard<std::mutex> const Lock(m_Mutex);
  return BeginOverlaid(m_Streams[Stream], Body);
}

TCOwnChanges::TSHandover TCOwnChanges::BeginCatchUp(std::string const& Stream, std::uint64_t Number,
                                                    TCBody const& Body) {
  std::lock_guard<std::mutex> const Lock(m_Mutex);
  TSStream& Known = m_Streams[Stream];
  EndWayUpTo(Known, Number);
  return BeginOverlaid(Known, Body);
}

std::uint64_t TCOwnChanges::BeginAnswer(std::string const& Stream) {
  std::lock_guard<std::mutex> const Lock(m_Mutex);
  TSStream& Known = m_Streams[Stream];
  for (auto& [Key, Change] : Known.Changes) {
    Change.TakeBack = true;
  }
  m_UnderWay.push_back({++m_Now, &Known, true, {}});
  return m_Now;
}

// Leaves out what changes on their way are about.
TCOwnChanges::TSHandover TCOwnChanges::BeginOverlaid(TSStream& Stream, TCBody const& Body) {
  std::vector<std::string> Keys;
  std::vector<bool> Taken(static_cast<std::size_t>(Body->get_Count()), true);
  bool const Overlaid = !Stream.Changes.empty();
  if (Stream.HasKeysOf(*Body) && (Overlaid || Body->get_Count() <= kListedRecords)) {
    Keys = Stream.KeysOf(*Body);
    for (std::size_t Place = 0; Overlaid && Place < Keys.size(); ++Place) {
      Taken[Place] = Stream.Changes.count(Keys[Place]) == 0;
    }
  }
  return Begin(Stream, Body, Keys, Taken);
}

TCOwnChanges::TSHandover TCOwnChanges::Begin(TSStream& Stream, TCBody const& Body,
                                             std::vector<std::string> const& Keys,
                                             std::vector<bool> const& Taken) {
  auto const Count = std::count(Taken.begin(), Taken.end(), true);
  TSHandover const Handover{
      Count == Body->get_Count() ? Body : TCNorvMailBody::Selected(*Body, Taken), ++m_Now};
  if (Count == 0) {
    return Handover;
  }
  TSUnderWay UnderWay{Handover.Place, &Stream, Keys.empty() || Count > kListedRecords, {}};
  for (std::size_t Place = 0; !UnderWay.Any && Place < Keys.size(); ++Place) {
    if (Taken[Place]) {
      UnderWay.Keys.insert(Keys[Place]);
    }
  }
  m_UnderWay.push_back(std::move(UnderWay));
  return Handover;
}

void TCOwnChanges::End(std::uint64_t Place) {
  std::lock_guard<std::mutex> const Lock(m_Mutex);
  auto const UnderWay =
      std::find_if(m_UnderWay.begin(), m_UnderWay.end(),
                   [&](TSUnderWay const& Candidate) { return Candidate.Place == Place; });
  if (UnderWay == m_UnderWay.end()) {
    return;
  }
  if (UnderWay->Any) {
    m_AnyTouched = ++m_Now;
  }
  for (std::string const& Key : UnderWay->Keys) {
    Touch(*UnderWay->Stream, Key);
  }
  m_UnderWay.erase(UnderWay);
}

void TCOwnChanges::Touch(TSStream& Stream, std::string const& Key) {
  if (!m_Marks.empty()) {  // later marks are later than this
    Stream.Touched[Key] = ++m_Now;
  }
}

// ---- the end of the way ----

void TCOwnChanges::EndWay(TSStream& Stream, std::uint64_t Number,
                          std::vector<std::string> const& Keys) {
  for (std::string const& Key : Keys) {
    auto const Change = Stream.Changes.find(Key);
    if (Change != Stream.Changes.end() && Change->second.Number <= Number) {
      Erase(Stream, Change);
    }
  }
}

void TCOwnChanges::EndWayUpTo(TSStream& Stream, std::uint64_t Number) {
  if (Stream.Numbers.empty() || Stream.Numbers.begin()->first > Number) {
    return;
  }
  for (auto Change = Stream.Changes.begin(); Change != Stream.Changes.end();) {
    auto const Present = Change++;
    if (Present->second.Number <= Number) {
      Erase(Stream, Present);
    }
  }
}

// A change that was made earlier and is sent later is told by this that it is late.
void TCOwnChanges::Erase(TSStream& Stream, TCChanges::iterator Change) {
  Touch(Stream, Change->first);
  CountOut(Stream, Change->second.Number);
  Stream.Changes.erase(Change);
}

void TCOwnChanges::CountOut(TSStream& Stream, std::uint64_t Number) {
  auto const Counted = Stream.Numbers.find(Number);
  if (--Counted->second == 0) {
    Stream.Numbers.erase(Counted);
  }
}

void TCOwnChanges::Done(std::string const& Stream, std::uint64_t Number) {
  std::lock_guard<std::mutex> const Lock(m_Mutex);
  EndWayUpTo(m_Streams[Stream], Number);
}

bool TCOwnChanges::HasUpTo(std::string const& Stream, std::uint64_t Number) const {
  std::lock_guard<std::mutex> const Lock(m_Mutex);
  auto const Known = m_Streams.find(Stream);
  return Known != m_Streams.end() && !Known->second.Numbers.empty() &&
         Known->second.Numbers.begin()->first <= Number;
}
