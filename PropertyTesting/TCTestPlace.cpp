// SPDX-License-Identifier: MIT
// Makes the folder, and has the process look into it.
#include "PropertyTesting/TCTestPlace.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <system_error>

#include "Platform/Utility/TCException.h"
#include "Platform/Utility/TCMutex.h"
#include "PropertyInterface/TCPropertyCollectionDriver.h"

namespace Property::Testing {

namespace {

constexpr char kSource[] = "../PropertyTesting/TCTestPlace";
constexpr char kVariable[] = "MAILROUTER_ADDRESS";
constexpr char kMemory[] = "/dev/shm";

// What is kept for the process, which a forked child is another one of.
struct TSKept {
  TCMutex Lock;
  pid_t Process PROPERTY_GUARDED_BY(Lock) = 0;
  std::string Folder PROPERTY_GUARDED_BY(Lock);  // of the first; empty before it
  bool InUse PROPERTY_GUARDED_BY(Lock) = false;
};

TSKept& Kept() {
  static TSKept Instance;
  return Instance;
}

std::string ErrorText() {
  return std::generic_category().message(errno);
}

std::filesystem::path Parent() {
  bool const HasMemory = access(kMemory, W_OK | X_OK) == 0;
  return HasMemory ? std::filesystem::path(kMemory) : std::filesystem::temp_directory_path();
}

std::string MakeFolder() {
  std::string Folder = Parent() / "property-test-XXXXXX";
  if (mkdtemp(Folder.data()) == nullptr) {
    throw TCException(kSource, __LINE__)
        .Format("cannot make a folder like %s for a test server: %s", Folder.c_str(),
                ErrorText().c_str());
  }
  return Folder;
}

// Where the process's store looks since there was the first test server.
void MakeFolderAgain(std::string const& Folder) {
  if (mkdir(Folder.c_str(), S_IRWXU) != 0) {
    throw TCException(kSource, __LINE__)
        .Format("cannot make the folder %s again for a test server: %s", Folder.c_str(),
                ErrorText().c_str());
  }
}

// The folder that is in use from now on.
std::string TakeFolder() {
  TSKept& Own = Kept();
  TCMutexLock const Guard(Own.Lock);
  if (Own.Process != getpid()) {
    Own.Process = getpid();
    Own.Folder.clear();
    Own.InUse = false;
  }
  if (Own.InUse) {
    throw TCException(kSource, __LINE__, "!InUse")
        .Format(
            "there is a test server in this process already: destroy it before another one is "
            "made");
  }
  if (Own.Folder.empty()) {
    if (TCPropertyCollectionDriver::get_Instance() != nullptr) {
      throw TCException(kSource, __LINE__, "get_Instance()==nullptr")
          .Format(
              "this process has a store already, which looks for its server elsewhere: make the "
              "test server before the store");
    }
    Own.Folder = MakeFolder();
  } else {
    MakeFolderAgain(Own.Folder);
  }
  Own.InUse = true;
  return Own.Folder;
}

void LeaveFolder(std::string const& Folder) {
  std::error_code Ignored;
  std::filesystem::remove_all(Folder, Ignored);
  TSKept& Own = Kept();
  TCMutexLock const Guard(Own.Lock);
  Own.InUse = false;
}

}  // namespace

TCTestPlace::TCTestPlace(TCMACAddress const& Device)
    : m_Folder(TakeFolder()), m_Address("unix:path=" + m_Folder + "/socket") {
  if (char const* const Former = getenv(kVariable)) {
    m_FormerAddress = Former;
  }
  setenv(kVariable, m_Address.c_str(), 1);
  TCMACAddress::SetOwn(Device);
}

TCTestPlace::~TCTestPlace() {
  TCMACAddress::SetOwn(TCMACAddress());
  if (m_FormerAddress) {
    setenv(kVariable, m_FormerAddress->c_str(), 1);
  } else {
    unsetenv(kVariable);
  }
  LeaveFolder(m_Folder);
}

void TCTestPlace::RemoveDatabase() const {
  for (char const* const Suffix : {"", "-wal", "-journal", "-shm"}) {
    std::error_code Ignored;
    std::filesystem::remove(get_Database() + Suffix, Ignored);
  }
}

}  // namespace Property::Testing
