// Constructors of the exception subclasses.
#include "core/Exception.h"

namespace core {

namespace {
const avo::WString kNoText;
const ResourceKey kIllegalArgument{"IDS_ERR_ILLEGAL_ARGUMENT"};
const ResourceKey kIllegalState{"IDS_ERR_ILLEGAL_STATE"};
const ResourceKey kUnsupportedOperation{"IDS_ERR_UNSUPPORTED_OPERATION"};
}  // namespace

SourcePositionException::SourcePositionException(const GUID& clsid, const ResourceKey& defaultMessage, const char* file,
                                                 int line, const Message* message, const avo::WString& extra,
                                                 IExceptionObject* inner)
    : Exception(clsid, message != nullptr ? *message : Message(defaultMessage), inner, kNullGuid, Categories(), extra),
      module_("kern83"),
      file_(file != nullptr ? file : ""),
      line_(line) {}

#define KERN83_DEFINE_SOURCE_POSITION_EXCEPTION(Name, DefaultKey)                                                    \
  Name::Name(IExceptionObject* inner)                                                                                \
      : SourcePositionException(CLSID, DefaultKey, nullptr, 0, nullptr, kNoText, inner) {}                           \
  Name::Name(const char* file, int line, const Message& message, IExceptionObject* inner)                            \
      : SourcePositionException(CLSID, DefaultKey, file, line, &message, kNoText, inner) {}                          \
  Name::Name(const Message& message, IExceptionObject* inner)                                                        \
      : SourcePositionException(CLSID, DefaultKey, nullptr, 0, &message, kNoText, inner) {}                          \
  Name::Name(const char* file, int line, const Message& message, const avo::WString& extra, IExceptionObject* inner) \
      : SourcePositionException(CLSID, DefaultKey, file, line, &message, extra, inner) {}

KERN83_DEFINE_SOURCE_POSITION_EXCEPTION(IllegalArgumentException, kIllegalArgument)
KERN83_DEFINE_SOURCE_POSITION_EXCEPTION(IllegalStateException, kIllegalState)
KERN83_DEFINE_SOURCE_POSITION_EXCEPTION(UnsupportedOperationException, kUnsupportedOperation)
#undef KERN83_DEFINE_SOURCE_POSITION_EXCEPTION

#define KERN83_DEFINE_PLAIN_EXCEPTION(Name) \
  Name::Name(const Message& message, IExceptionObject* inner) : Exception(message, inner, CLSID, {}, kNoText) {}

KERN83_DEFINE_PLAIN_EXCEPTION(CtorException)
KERN83_DEFINE_PLAIN_EXCEPTION(TimeZoneException)
KERN83_DEFINE_PLAIN_EXCEPTION(ApplicationException)
KERN83_DEFINE_PLAIN_EXCEPTION(COMTypeException)
KERN83_DEFINE_PLAIN_EXCEPTION(CommandLineException)
KERN83_DEFINE_PLAIN_EXCEPTION(ComparatorException)
KERN83_DEFINE_PLAIN_EXCEPTION(ContextException)
KERN83_DEFINE_PLAIN_EXCEPTION(ConverterException)
KERN83_DEFINE_PLAIN_EXCEPTION(DataSourceException)
KERN83_DEFINE_PLAIN_EXCEPTION(EDBException)
KERN83_DEFINE_PLAIN_EXCEPTION(HexConvExc)
KERN83_DEFINE_PLAIN_EXCEPTION(InteractiveSecurityException)
KERN83_DEFINE_PLAIN_EXCEPTION(LocaleException)
KERN83_DEFINE_PLAIN_EXCEPTION(NetDataExchangeException)
KERN83_DEFINE_PLAIN_EXCEPTION(ProcessInitException)
KERN83_DEFINE_PLAIN_EXCEPTION(ProfileSrcException)
KERN83_DEFINE_PLAIN_EXCEPTION(StackOverflowException)
KERN83_DEFINE_PLAIN_EXCEPTION(StringTemplateException)
KERN83_DEFINE_PLAIN_EXCEPTION(StringTokenizerException)
KERN83_DEFINE_PLAIN_EXCEPTION(ThreadDeath)
KERN83_DEFINE_PLAIN_EXCEPTION(TypeDomainPatternProviderException)
KERN83_DEFINE_PLAIN_EXCEPTION(ValueIsFilledException)
KERN83_DEFINE_PLAIN_EXCEPTION(RemotingException)
#undef KERN83_DEFINE_PLAIN_EXCEPTION

RemotingException::RemotingException(const GUID& clsid, const Message& message, IExceptionObject* inner)
    : Exception(message, inner, clsid, {}, kNoText) {}

const char* NumericException::keyOf(int code) noexcept {
  switch (code) {
    case DivideByZero:
      return "IDS_NUMERROR_DIVIDEBYZERO";
    case NegativePower:
      return "IDS_NUMERROR_NEGATIVEPOW";
    case Overflow:
      return "IDS_NUMERROR_OVERFLOW";
    default:
      return nullptr;
  }
}

NumericException::NumericException(int code, IExceptionObject* inner)
    : Exception(keyOf(code) != nullptr ? Message(ResourceKey{keyOf(code)}) : Message(u""), inner, CLSID, {}, kNoText),
      code_(code) {}

NumericException::NumericException(const Message& message, IExceptionObject* inner)
    : Exception(message, inner, CLSID, {}, kNoText), code_(0) {}

ListStreamException::ListStreamException(IExceptionObject* inner)
    : Exception(ResourceKey{"IDS_LISTSTREAMERROR"}, inner, CLSID, {}, kNoText) {}

CancelOperationException::CancelOperationException(Reason reason, const Message& message, IExceptionObject* inner)
    : Exception(message, inner, CLSID, {}, kNoText), reason_(reason) {}

CancelOperationException::CancelOperationException(Reason reason, const Exception& cause)
    : Exception(cause.message(), cause.object().get(), CLSID, cause.categories(), kNoText), reason_(reason) {}

SCOM_Exception::SCOM_Exception(Reason reason, const Message& message, IExceptionObject* inner)
    : Exception(message, inner, CLSID, {}, kNoText), reason_(reason) {}

#define KERN83_DEFINE_ERROR_CODE_EXCEPTION(Name)                           \
  Name::Name(Error error, const Message& message, IExceptionObject* inner) \
      : Exception(message, inner, CLSID, {}, kNoText), error_(error) {}

KERN83_DEFINE_ERROR_CODE_EXCEPTION(BufferException)
KERN83_DEFINE_ERROR_CODE_EXCEPTION(IOException)
KERN83_DEFINE_ERROR_CODE_EXCEPTION(ThreadException)
#undef KERN83_DEFINE_ERROR_CODE_EXCEPTION

FileException::FileException(Error error, const avo::WString& text, unsigned systemCode, const URL& url,
                             IExceptionObject* inner)
    : Exception(text, inner, CLSID, categoryOf(LocalFileAccessError), kNoText),
      error_(error),
      systemCode_(systemCode),
      url_(url) {}

FileException::FileException(Error error, const avo::WString& text, unsigned systemCode, const URL& url,
                             const avo::WString& extra)
    : Exception(text, nullptr, CLSID, categoryOf(LocalFileAccessError), extra),
      error_(error),
      systemCode_(systemCode),
      url_(url) {}

FileException::FileException(Error error, const avo::WString& text, unsigned systemCode, const URL& url, bool flag,
                             const URL& secondUrl, IExceptionObject* inner)
    : Exception(text, inner, CLSID, categoryOf(LocalFileAccessError), kNoText),
      error_(error),
      systemCode_(systemCode),
      url_(url),
      secondUrl_(secondUrl),
      flag_(flag) {}

StorageException::StorageException(Error error, const URL& url, IExceptionObject* inner)
    : Exception(url.toString(), inner, CLSID, categoryOf(StoredDataError), kNoText), error_(error), url_(url) {}

PivotSourceException::PivotSourceException(Error error, IExceptionObject* inner)
    : Exception(u"", inner, CLSID, {}, kNoText), error_(error) {}

TypeException::TypeException(const Message& message) : Exception(message, nullptr, CLSID, {}, kNoText) {}

TypeException::TypeException(const GUID& typeId)
    : Exception(guid_to_string(typeId), nullptr, CLSID, {}, kNoText), typeId_(typeId) {}

RegexException::RegexException(int icuStatus, const avo::WString& pattern)
    : Exception(pattern, nullptr, CLSID, {}, kNoText), status_(icuStatus), pattern_(pattern) {}

VersionException::VersionException(const Message& message, const char* version, const avo::WString& extra,
                                   IExceptionObject* inner)
    : Exception(message, inner, CLSID, {}, extra), version_(version != nullptr ? version : "") {}

COMException::COMException(HRESULT result) : Exception(u"", nullptr, CLSID, {}, kNoText), result_(result) {}

}  // namespace core
