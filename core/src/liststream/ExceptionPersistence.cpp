// Exception::serialize / deserialize: one list per exception,
//
//   { version (1), class id, message, message key, auxiliary text, second auxiliary text,
//     categories (bit i = Category i), UI helper id, from-server flag (0/1), inner }
//
// where inner is {} without a cause, else { the cause's class id, { the cause's own list } }. The class
// id stands in front so that the reader can make an object of the cause's own class (raise() then
// throws that type) before that object reads its list. The stack trace is not persisted: its addresses
// mean nothing in another process. A reader skips items that a newer writer appended to a list.
#include <functional>
#include <memory>
#include <unordered_map>

#include "core/Exception.h"
#include "core/ListStream.h"
#include "core/Persistence.h"
#include "exceptions/ExceptionObject.h"

namespace core {

namespace {

constexpr unsigned kVersion = 1;
// Causes nest at most this deep when read: the data decides the depth, the stack must not.
constexpr int kMaxInnerDepth = 256;

thread_local int t_readDepth = 0;

using Factory = Exception* (*)();

// An object of the class with this id, to be filled by deserialize; a plain Exception for ids that are
// not classes of this library.
Exception* make_exception(const GUID& clsid) {
  static const std::unordered_map<GUID, Factory> factories = {
      {Exception::CLSID, [] { return new Exception(u""); }},
      {IllegalArgumentException::CLSID, []() -> Exception* { return new IllegalArgumentException(); }},
      {IllegalStateException::CLSID, []() -> Exception* { return new IllegalStateException(); }},
      {UnsupportedOperationException::CLSID, []() -> Exception* { return new UnsupportedOperationException(); }},
#define KERN83_PLAIN(Name)                                    \
  {                                                           \
    Name::CLSID, []() -> Exception* { return new Name(u""); } \
  }
      KERN83_PLAIN(CtorException),
      KERN83_PLAIN(TimeZoneException),
      KERN83_PLAIN(ApplicationException),
      KERN83_PLAIN(COMTypeException),
      KERN83_PLAIN(CommandLineException),
      KERN83_PLAIN(ComparatorException),
      KERN83_PLAIN(ContextException),
      KERN83_PLAIN(ConverterException),
      KERN83_PLAIN(DataSourceException),
      KERN83_PLAIN(EDBException),
      KERN83_PLAIN(HexConvExc),
      KERN83_PLAIN(InteractiveSecurityException),
      KERN83_PLAIN(LocaleException),
      KERN83_PLAIN(NetDataExchangeException),
      KERN83_PLAIN(ProcessInitException),
      KERN83_PLAIN(ProfileSrcException),
      KERN83_PLAIN(StackOverflowException),
      KERN83_PLAIN(StringTemplateException),
      KERN83_PLAIN(StringTokenizerException),
      KERN83_PLAIN(ThreadDeath),
      KERN83_PLAIN(TypeDomainPatternProviderException),
      KERN83_PLAIN(ValueIsFilledException),
      KERN83_PLAIN(RemotingException),
      KERN83_PLAIN(NumericException),
      KERN83_PLAIN(TypeException),
#undef KERN83_PLAIN
      {ListStreamException::CLSID, []() -> Exception* { return new ListStreamException(); }},
      {CancelOperationException::CLSID,
       []() -> Exception* { return new CancelOperationException(CancelOperationException::ByUser, u""); }},
      {SCOM_Exception::CLSID,
       []() -> Exception* { return new SCOM_Exception(SCOM_Exception::ClassNotRegistered, u""); }},
      {BufferException::CLSID, []() -> Exception* { return new BufferException(BufferException::Overflow, u""); }},
      {IOException::CLSID, []() -> Exception* { return new IOException(IOException::ReadError, u""); }},
      {ThreadException::CLSID, []() -> Exception* { return new ThreadException(ThreadException::StartRefused, u""); }},
      {FileException::CLSID, []() -> Exception* { return new FileException(FileException::Other, u"", 0, URL()); }},
      {StorageException::CLSID,
       []() -> Exception* { return new StorageException(StorageException::Corrupted, URL()); }},
      {PivotSourceException::CLSID,
       []() -> Exception* { return new PivotSourceException(PivotSourceException::InvalidSource); }},
      {RegexException::CLSID, []() -> Exception* { return new RegexException(0, u""); }},
      {VersionException::CLSID, []() -> Exception* { return new VersionException(u"", "", u""); }},
      {COMException::CLSID, []() -> Exception* { return new COMException(0); }},
  };
  const auto found = factories.find(clsid);
  return found != factories.end() ? found->second() : new Exception(u"");
}

struct DepthGuard {
  DepthGuard() {
    if (++t_readDepth > kMaxInnerDepth) {
      --t_readDepth;
      ListStreamException e;
      e.setAuxText2(u"exception causes nested too deep");
      throw e;
    }
  }
  ~DepthGuard() { --t_readDepth; }
  DepthGuard(const DepthGuard&) = delete;
  DepthGuard& operator=(const DepthGuard&) = delete;
};

}  // namespace

void Exception::serialize(IOutPersistenceStorage* storage) const {
  ListOutStream& out = storage->stream();
  out.putBeginOfList();
  out.put(kVersion);
  out.put(clsid_);
  out.put(message_);
  out.put(avo::from_utf8(messageKey_));
  out.put(auxText_);
  out.put(auxText2_);
  out.put(static_cast<unsigned long>(categories_.to_ulong()));
  out.put(uiHelper_);
  out.put(onClientFromServer_);
  out.putBeginOfList();
  if (inner_) {
    const Exception& cause = inner_->exception();
    out.put(cause.clsid());
    cause.serialize(storage);
  }
  out.putEndOfList();
  out.putEndOfList();
}

void Exception::deserialize(IInPersistenceStorage* storage) {
  const DepthGuard depth;
  ListInStream& in = storage->stream();
  // Everything is read into locals first: a malformed list leaves this exception as it was.
  in.getBeginOfList();
  unsigned version = 0;
  in.get(version);
  if (version == 0) {
    ListStreamException e;
    e.setAuxText2(u"exception version 0");
    throw e;
  }
  GUID clsid, uiHelper;
  avo::WString message, key, auxText, auxText2;
  unsigned long categories = 0;
  bool fromServer = false;
  in.get(clsid);
  in.get(message);
  in.get(key);
  in.get(auxText);
  in.get(auxText2);
  in.get(categories);
  in.get(uiHelper);
  in.get(fromServer);
  InterfacePtr<IExceptionObject> inner;
  in.getBeginOfList();
  if (!in.isEndOfList()) {
    GUID innerClsid;
    in.get(innerClsid);
    std::unique_ptr<Exception> cause(make_exception(innerClsid));
    cause->deserialize(storage);
    inner.attach(new detail::ExceptionObject(cause.release()));
  }
  in.skipListContent();
  in.getEndOfList();
  in.skipListContent();
  in.getEndOfList();

  clsid_ = clsid;
  message_ = std::move(message);
  messageKey_ = avo::to_std_utf8(key);
  auxText_ = std::move(auxText);
  auxText2_ = std::move(auxText2);
  categories_ = Categories(categories & ((1ul << kCategoryCount) - 1));
  uiHelper_ = uiHelper;
  onClientFromServer_ = fromServer;
  inner_ = std::move(inner);
  what_.clear();
}

}  // namespace core
