// SPDX-License-Identifier: MIT
// A router with a mailbox that refuses.
#include "tests/console/RefusingServer.h"

#include "Platform/Messaging/TCNorvMailMessage.h"
#include "PropertyInterface/PropertyProtocol.h"
#include "PropertyInterface/TCNorvPropertyObject.h"

class TRefusingServer::TService : public TCNorvService {
 public:
  TService(TCNorvMailRouter& Router, std::atomic<bool> const& Refuses)
      : TCNorvService(Router, Property::PropertyProtocol::kMailbox), m_Refuses(Refuses) {
    Open();
  }
  TService(TService const&) = delete;
  TService& operator=(TService const&) = delete;
  ~TService() override { Close(); }

 protected:
  void OnMail(TSNorvReceivedMail const& Mail) override { Acknowledge(Mail); }
  bool OnRequest(TSNorvMailSender const& /*Sender*/, TSNorvMailContent const& Request,
                 TSNorvMailContent& Answer) override {
    using namespace Property::PropertyProtocol;
    if (m_Refuses || Request.SignalType != kRequestAll.Type ||
        Request.SignalName != kRequestAll.Name) {
      return false;
    }
    TCNorvMailMessage<Property::TCNorvPropertyObject> const Empty(Property::Norv_PropertyMail,
                                                                  kAllValues.Type, kAllValues.Name);
    Answer = Empty.get_Content();
    return true;
  }

 private:
  std::atomic<bool> const& m_Refuses;
};

TRefusingServer::TRefusingServer(std::string const& Address)
    : m_Router(Address),
      m_Service(std::make_unique<TService>(m_Router, m_Refuses)),
      m_Thread([this] { m_Router.Run(); }) {}

TRefusingServer::~TRefusingServer() {
  m_Router.Stop();
  m_Thread.join();
}
