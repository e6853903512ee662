// SPDX-License-Identifier: MIT
// Puts the model's mails into the product's and takes them out again.
#include "tests/model/ModelMails.h"

#include <utility>

namespace {

constexpr char kFields[] = "iii";  // key, value, and what it is expected to be
constexpr int kChange = 2;         // signal type; the signal's name is the mail's fate

}  // namespace

TCNorvMailClassID const& ModelValueClass() {
  static TCNorvMailClassID const Class("values", 1);
  return Class;
}

TCNorvMailClassID const& ModelConditionClass() {
  static TCNorvMailClassID const Class("conditions", 1);
  return Class;
}

TSNorvMailContent EncodedMail(TSModelMail const& Mail) {
  TCNorvMailBody::TCWriter Writer(kFields);
  for (auto const& [Key, Value] : Mail.m_Values) {
    Writer.BeginRecord(Mail.m_Conditional ? 7 : 3);
    Writer.AppendField({true, 'i', Key, {}});
    Writer.AppendField({true, 'i', Value, {}});
    Writer.AppendField(
        {Mail.m_Conditional, 'i', Mail.m_Conditional ? Mail.m_Expected.at(Key) : 0, {}});
  }
  return {Mail.m_Conditional ? ModelConditionClass() : ModelValueClass(), kChange,
          static_cast<int>(Mail.m_Fate), Writer.Finish()};
}

TSModelMail DecodedMail(std::uint64_t Number, TSNorvMailContent const& Content) {
  TSModelMail Mail;
  Mail.m_Number = Number;
  Mail.m_Fate = static_cast<TSModelPlan::TEFate>(Content.SignalName);
  Mail.m_Conditional = Content.MailClass == ModelConditionClass();
  for (int Index = 0; Index < Content.Body->get_Count(); ++Index) {
    TCNorvRecordCursor Cursor(kFields, Content.Body->get_Record(Index));
    TSNorvFieldValue Key;
    TSNorvFieldValue Value;
    TSNorvFieldValue Expected;
    Cursor.Next(Key);
    Cursor.Next(Value);
    Cursor.Next(Expected);
    Mail.m_Values[Key.Integer] = Value.Integer;
    if (Expected.Assigned) {
      Mail.m_Expected[Key.Integer] = Expected.Integer;
    }
  }
  return Mail;
}

std::vector<TSModelMail> DecodedMails(Wire::TCFrame const& Frame) {
  std::vector<TSModelMail> Mails;
  Wire::TCFrameView View(Frame.get_Bytes(), -1);
  TCNorvMailClassID const Class = View.get_Class();
  Wire::TSFrameMail Mail;
  while (View.Next(Mail)) {
    Mails.push_back(DecodedMail(View.get_Head().Number + Mails.size(), View.Read(Mail, Class)));
  }
  return Mails;
}

void AppendText(std::string& Text, TCModelValues const& Values) {
  for (auto const& [Key, Value] : Values) {
    Text += std::to_string(Key) + '=' + std::to_string(Value) + ',';
  }
  Text += ';';
}

void AppendText(std::string& Text, TSModelPublished const& Published) {
  Text += std::to_string(static_cast<int>(Published.m_Kind)) + ':' +
          std::to_string(Published.m_Origin) + ':' + std::to_string(Published.m_Number) + '@' +
          std::to_string(Published.m_Position.Sequence) + ':';
  AppendText(Text, Published.m_Values);
}
