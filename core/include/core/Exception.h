#pragma once
// Exceptions: every failure of the library is a thrown core::Exception or one of its subclasses.
//
// An exception carries the GUID of its kind (clsid), a message, an optional inner cause, a set of error
// categories, a user-interface helper id and a stack trace captured at construction. Wrapped in a
// reference-counted IExceptionObject it can be stored, passed to another thread, attached as the cause
// of another exception and raised again with its dynamic type:
//
//     try {
//       parse(text);
//     } catch (const core::Exception& e) {
//       throw core::IllegalStateException("core/src/Loader", 42, core::ResourceKey{"IDS_ERR_ILLEGAL_STATE"},
//                                         e.object().get());
//     }
//
// Messages are normally resource keys of the module "kern83": an exception made from a ResourceKey shows
// the text in the calling thread's language and keeps the key (messageKey()).
//
// Per-thread services: defer_exception parks the exception being handled in the calling thread's slot
// (the first one wins) and raise_deferred_exception throws it later; destructor_exception hands an
// exception that must not leave a destructor to the process's handler. Every exception counts itself in
// the ExceptionsCount of the thread that made it.
//
// Thread safety: an Exception object is used by one thread at a time; IExceptionObject and
// ExceptionsCount may be shared between threads.

#include <bitset>
#include <cstdint>
#include <exception>
#include <initializer_list>
#include <string>
#include <string_view>

#include "avo/BasicString.h"
#include "core/Export.h"
#include "core/Guid.h"
#include "core/Interface.h"
#include "core/Url.h"

namespace core {

class Exception;
class IOutPersistenceStorage;
class IInPersistenceStorage;

// Names a message text of a resource module.
struct ResourceKey {
  const char* key;                // "IDS_..."; a literal, or text that outlives the key
  const char* module = "kern83";  // the resource module the key belongs to
};

// The message of an exception: a text given directly, or the text of a resource key (then the key is
// kept too). Converts implicitly from texts and keys so that every constructor takes either.
class KERN83_API Message {
 public:
  // A direct text (no key).
  Message(const char16_t* text);      // NOLINT(google-explicit-constructor); null gives an empty text
  Message(const avo::WString& text);  // NOLINT(google-explicit-constructor)
  Message(std::u16string_view text);  // NOLINT(google-explicit-constructor)
  // The text of `key` in the calling thread's resource language (the key itself when there is none).
  Message(ResourceKey key);  // NOLINT(google-explicit-constructor)
  // The text of `key` with its first "%1" replaced by `argument`; the key is kept.
  Message(ResourceKey key, std::u16string_view argument);

  // The text, and the key it came from (empty for a direct text).
  const avo::WString& text() const noexcept { return text_; }
  const std::string& key() const noexcept { return key_; }

 private:
  avo::WString text_;
  std::string key_;
};

// The wrapped, shareable form of one exception.
class IExceptionObject : public IUnknown {
 public:
  static constexpr GUID IID = guid("0cc9e7d8-2f4f-4d9e-a8e1-1d48dfd90ae1");

  // The wrapped exception (with its dynamic type), valid while the object lives.
  virtual const Exception& exception() const noexcept = 0;
  // Throws a copy of the wrapped exception with its dynamic type.
  [[noreturn]] virtual void raise() const = 0;

 protected:
  ~IExceptionObject() = default;
};

// Receives exceptions that destructors could not propagate (see destructor_exception).
class IExceptionHandler : public IUnknown {
 public:
  static constexpr GUID IID = guid("248ecdcf-73e2-4263-b999-3e601602c081");
  // Called on the thread whose destructor caught `e`; must not throw.
  virtual void handleException(const Exception& e) = 0;

 protected:
  ~IExceptionHandler() = default;
};

// The live-exception counter of one thread, shared by the thread and every exception made on it. The
// thread holds 1 from creation; every exception adds 1 while it lives. The holder whose release brings
// the count to 0 overwrites it with kFreedMark and frees it.
class KERN83_API ExceptionsCount {
 public:
  // The value a freed counter is overwritten with, so that a late use is recognised.
  static constexpr std::uint32_t kFreedMark = 0xC0000001u;

  // A new counter holding 1 (the creator's reference).
  static ExceptionsCount* create();

  // Adds one reference.
  void acquire() noexcept;
  // Drops one reference; the last one frees the counter.
  void release() noexcept;
  // The current count: 1 for the thread plus one per live exception (a snapshot).
  std::int32_t value() const noexcept { return count_.get(); }

 private:
  ExceptionsCount() noexcept = default;
  AtomicCounter count_{1};
};

// The calling thread's counter, or null when the calling thread has no library thread object. (The
// spelling is part of the interface.)
KERN83_API ExceptionsCount* current_ecxeptions_count() noexcept;

// A captured call stack: return addresses of the frames above the capturing function.
class KERN83_API StackTrace {
 public:
  // The most frames kept; deeper stacks keep their innermost frames.
  static constexpr int kMaxFrames = 48;

  // Records the calling thread's stack, leaving out the `skip` innermost frames above the caller.
  void capture(int skip = 0) noexcept;
  // Forgets the frames.
  void clear() noexcept {
    count_ = 0;
    captured_ = false;
  }
  // Whether capture() ran (and clear() did not run since).
  bool captured() const noexcept { return captured_; }
  // The number of frames kept, and frame `i` (0 the innermost; below size()).
  int size() const noexcept { return count_; }
  void* frame(int i) const noexcept { return frames_[i]; }
  // One line per frame, "#i address symbol+offset" where the symbol is known.
  std::string toString() const;

 private:
  void* frames_[kMaxFrames] = {};
  int count_ = 0;
  bool captured_ = false;
};

// The base of every exception of the library; see the top of this file. Caught by reference, copied
// with its dynamic type through clone() or object().
class KERN83_API Exception : public std::exception {
 public:
  // The error categories. Their script enumeration is "ErrorCategory"; presentations are the keys
  // "IDS_ENUM_EXCEPTIONCATEGORY_...".
  enum Category {
    NetworkError,
    PrinterError,
    AccessViolation,
    LocalFileAccessError,
    ScriptUseError,
    ExceptionRaisedFromScript,
    ScriptCompileError,
    ScriptRuntimeError,
    SessionError,
    StoredDataError,
    CollaborationSystemError,
    DataCompositionSettingsError,
    GotoURLError,
    DatabaseCopyError,
    FullTextSearchError,
    ExternalDataSourceError,
    DocumentConversionError,
    InvalidPassword,
    NoPermissionToUseFunctionality,
    MultimediaToolsError,
    DatabaseTablespaceError,
    SpeechProcessingError,
    SignatureVerificationError,
    ConfigurationError,
    ForcedShutdown,
    UnsupportedFormat,
  };
  // A set of categories, one bit per Category.
  static constexpr int kCategoryCount = 26;
  using Categories = std::bitset<kCategoryCount>;

  // The class identifier of a plain Exception; every subclass declares its own.
  static constexpr GUID CLSID = guid("1b5ebc6a-85c8-4669-9c09-a3e06f696e12");

  // The bitset with the one bit of `c`; the union of the listed categories.
  static Categories categoryOf(Category c) noexcept;
  static Categories categoryOf(std::initializer_list<Category> list) noexcept;
  // English script term of a category ("NetworkError"...); the collective terms are kOtherErrorTerm and
  // kAllErrorsTerm. Null for a value outside the enumeration.
  static const char16_t* categoryTerm(Category c) noexcept;
  // Presentation key of a category ("IDS_ENUM_EXCEPTIONCATEGORY_INET"...).
  static const char* categoryKey(Category c) noexcept;
  // The collective terms, and the name of the categories' script enumeration.
  static constexpr const char16_t* kOtherErrorTerm = u"OtherError";
  static constexpr const char16_t* kAllErrorsTerm = u"AllErrors";
  static constexpr const char16_t* kCategoryEnumName = u"ErrorCategory";

  // A plain exception with `message` and an optional cause (a reference is taken to it). The second
  // form also sets the class identifier (for subclasses), the categories and the auxiliary text.
  explicit Exception(const Message& message, IExceptionObject* inner = nullptr);
  Exception(const Message& message, IExceptionObject* inner, const GUID& clsid, Categories categories,
            const avo::WString& auxText);
  // Copies every field, the stack trace included; the copy counts in the original's thread counter.
  Exception(const Exception& other);
  Exception& operator=(const Exception& other);
  ~Exception() override;

  // The class identifier (the most derived class's CLSID) and the message text.
  const GUID& clsid() const noexcept { return clsid_; }
  const avo::WString& message() const noexcept { return message_; }
  // The resource key the message came from, or empty.
  const std::string& messageKey() const noexcept { return messageKey_; }
  // The cause (borrowed), or null; the setter takes a reference to the new cause.
  IExceptionObject* inner() const noexcept { return inner_.get(); }
  void inner(IExceptionObject* cause) noexcept { inner_ = cause; }
  // The error categories the exception belongs to.
  Categories categories() const noexcept { return categories_; }
  // The user-interface helper that presents the error, or the null GUID.
  const GUID& uiHelperUUID() const noexcept { return uiHelper_; }
  // Auxiliary texts: details beside the message (auxText2 says where a list stream was malformed).
  const avo::WString& auxText() const noexcept { return auxText_; }
  const avo::WString& auxText2() const noexcept { return auxText2_; }
  void setAuxText2(const avo::WString& text) { auxText2_ = text; }
  // The stack where the exception was made.
  const StackTrace& stackTrace() const noexcept { return stack_; }
  // The live-exception counter of the thread that made it; null on a thread without a thread object.
  ExceptionsCount* exceptionsCount() const noexcept { return counter_; }

  // Marks an exception that was received from the server side of a client/server call.
  void setOnClientFromServer() noexcept { onClientFromServer_ = true; }
  // Whether setOnClientFromServer was called.
  bool isOnClientFromServer() const noexcept { return onClientFromServer_; }

  // This exception wrapped as a shareable object (a copy with the same dynamic type).
  InterfacePtr<IExceptionObject> object() const;

  // A heap copy with the same dynamic type; each subclass overrides it.
  virtual Exception* clone() const;
  // Throws *this with its dynamic type; each subclass overrides it.
  [[noreturn]] virtual void raise() const;

  // Writes / reads every persistent field, the inner chain included.
  virtual void serialize(IOutPersistenceStorage* storage) const;
  virtual void deserialize(IInPersistenceStorage* storage);

  // The message in UTF-8.
  const char* what() const noexcept override;

 protected:
  // Every field a subclass may set, the user-interface helper included.
  Exception(const GUID& clsid, const Message& message, IExceptionObject* inner, const GUID& uiHelper,
            Categories categories, const avo::WString& auxText);

 private:
  GUID clsid_;
  avo::WString message_;
  InterfacePtr<IExceptionObject> inner_;
  StackTrace stack_;
  avo::WString auxText_;
  avo::WString auxText2_;
  Categories categories_;
  GUID uiHelper_;
  ExceptionsCount* counter_ = nullptr;
  std::string messageKey_;
  bool onClientFromServer_ = false;
  mutable std::string what_;  // UTF-8 form of message_, made on first what()
};

// The first exception in the chain start, start's inner, its inner... whose class id is `clsid`, with a
// new reference; empty when the chain ends without one.
KERN83_API InterfacePtr<IExceptionObject> get_exception_object(IExceptionObject* start, const GUID& clsid);

// Inside a catch handler: parks the exception being handled in the calling thread's slot unless the slot
// is already occupied (the first one wins).
KERN83_API void defer_exception() noexcept;
// Whether the calling thread's slot holds an exception.
KERN83_API bool have_deferred_exception() noexcept;
// Empties the slot and throws what was in it; does nothing when the slot is empty.
KERN83_API void raise_deferred_exception();

// For destructors that caught an exception they must not propagate: passes it to the installed handler,
// or, with no handler, throws a copy of it as a plain Exception.
KERN83_API void destructor_exception(const Exception& e);
// Replaces the handler (may be null); the previous one is released.
KERN83_API void set_destructor_exception_handler(IExceptionHandler* handler);
// The installed handler, or empty.
KERN83_API InterfacePtr<IExceptionHandler> get_destructor_exception_handler();

// Raisers for script values of the wrong type. Each throws and never returns:
//   property_type_mismatch             ContextException "IDS_ERR_PROPERTY_TYPE_MISMATCH" (a property was
//                                      given a value it cannot take)
//   parameter_type_mismatch(i)         ContextException "IDS_ERR_PARAMETER_TYPE_MISMATCH" naming the
//                                      zero-based parameter index i
//   ctor_parameter_type_mismatch(i)    CtorException "IDS_ERR_CTOR_PARAMETER_TYPE_MISMATCH", the same
//                                      for a constructor's parameter
[[noreturn]] KERN83_API void property_type_mismatch();
[[noreturn]] KERN83_API void parameter_type_mismatch(int index);
[[noreturn]] KERN83_API void ctor_parameter_type_mismatch(int index);

// ---------------------------------------------------------------------------------------------------
// Subclasses. Each has its own CLSID; clone() and raise() keep the dynamic type. The library raises a
// few of them itself; the others belong to the platform's other subsystems and are defined here so that
// each persists and is raised again with its own class.

// The clone() and raise() overrides every subclass repeats.
#define KERN83_EXCEPTION_BOILERPLATE(Name)                      \
  Exception* clone() const override { return new Name(*this); } \
  [[noreturn]] void raise() const override { throw *this; }

// Misuse of an interface: carries the module name and the source position ("core/src/<file>", line)
// where it was detected.
class KERN83_API SourcePositionException : public Exception {
 public:
  // The module ("kern83"), the source file and the line; an empty file and line 0 when none was given.
  const std::string& module() const noexcept { return module_; }
  const std::string& sourceFile() const noexcept { return file_; }
  int sourceLine() const noexcept { return line_; }

 protected:
  // `message` null takes `defaultMessage`; `extra` becomes the auxiliary text.
  SourcePositionException(const GUID& clsid, const ResourceKey& defaultMessage, const char* file, int line,
                          const Message* message, const avo::WString& extra, IExceptionObject* inner);

 private:
  std::string module_;
  std::string file_;
  int line_ = 0;
};

// A source-position exception class; its default message is the key named below.
#define KERN83_SOURCE_POSITION_EXCEPTION(Name, Clsid)                                            \
  class KERN83_API Name : public SourcePositionException {                                       \
   public:                                                                                       \
    /* The class identifier. */                                                                  \
    static constexpr GUID CLSID = guid(Clsid);                                                   \
    /* The default message, no position. */                                                      \
    explicit Name(IExceptionObject* inner = nullptr);                                            \
    /* `message` detected at `file` and `line` (a literal: the path below core/src). */          \
    Name(const char* file, int line, const Message& message, IExceptionObject* inner = nullptr); \
    /* `message`, no position. */                                                                \
    explicit Name(const Message& message, IExceptionObject* inner = nullptr);                    \
    /* `message` at a position, with `extra` as the auxiliary text. */                           \
    Name(const char* file, int line, const Message& message, const avo::WString& extra,          \
         IExceptionObject* inner = nullptr);                                                     \
    KERN83_EXCEPTION_BOILERPLATE(Name)                                                           \
  };

// An argument outside what the function accepts; default message "IDS_ERR_ILLEGAL_ARGUMENT".
KERN83_SOURCE_POSITION_EXCEPTION(IllegalArgumentException, "f19fb985-8373-4305-905e-2f60b833b1c8")
// A call the object's state does not allow now; default message "IDS_ERR_ILLEGAL_STATE".
KERN83_SOURCE_POSITION_EXCEPTION(IllegalStateException, "f5ed124c-8378-43c7-b87d-13954fa677b2")
// An operation the object does not offer; default message "IDS_ERR_UNSUPPORTED_OPERATION".
KERN83_SOURCE_POSITION_EXCEPTION(UnsupportedOperationException, "e606840d-7ff0-4d1f-90a1-727973cabe77")

// Exceptions made of a message and an inner cause only.
#define KERN83_PLAIN_EXCEPTION(Name, Clsid)                                   \
  class KERN83_API Name : public Exception {                                  \
   public:                                                                    \
    /* The class identifier. */                                               \
    static constexpr GUID CLSID = guid(Clsid);                                \
    /* `message` with an optional cause. */                                   \
    explicit Name(const Message& message, IExceptionObject* inner = nullptr); \
    KERN83_EXCEPTION_BOILERPLATE(Name)                                        \
  };

KERN83_PLAIN_EXCEPTION(CtorException, "f875b540-e325-4e76-a12b-65463a0cd860")         // a script constructor refused
KERN83_PLAIN_EXCEPTION(TimeZoneException, "ed8f8809-8849-46e5-b45e-e83441363998")     // time zones
KERN83_PLAIN_EXCEPTION(ApplicationException, "5587944e-9ebd-414d-8abb-cb9d02ab7c31")  // the application's own
KERN83_PLAIN_EXCEPTION(COMTypeException, "a3e98b9b-5b59-4902-b3b4-58cb42b0cbdb")      // automation types
KERN83_PLAIN_EXCEPTION(CommandLineException, "b617ae59-a6d9-4e24-92ed-0693733bf35d")  // command lines
KERN83_PLAIN_EXCEPTION(ComparatorException, "91cc3835-9954-4909-ad66-527c88b6bb8d")   // value comparison
KERN83_PLAIN_EXCEPTION(ContextException, "1ac6a697-f0ba-4434-bec6-403c20a85e29")      // a context member refused
KERN83_PLAIN_EXCEPTION(ConverterException, "ebea37f6-bb3e-4e69-8761-5136da96eda9")    // value conversion
KERN83_PLAIN_EXCEPTION(DataSourceException, "09a7efe3-4dc5-4dea-be35-b1e7f4c645f4")   // data sources
KERN83_PLAIN_EXCEPTION(EDBException, "73145d44-c78e-48d3-9d78-8c9d22861783")          // the database layer
KERN83_PLAIN_EXCEPTION(HexConvExc, "344802b8-0bd9-4d8f-9946-06a15d1d1c29")            // hexadecimal conversion
KERN83_PLAIN_EXCEPTION(InteractiveSecurityException, "04dd8337-393d-4d16-8bb3-cd3c2ee36548")  // a user refused
KERN83_PLAIN_EXCEPTION(LocaleException, "f4b90bda-e6c2-4e16-8aa9-43853b673a54")               // locales
KERN83_PLAIN_EXCEPTION(NetDataExchangeException, "57f2c3dd-b491-45a2-b2ea-344ae281f130")      // network exchange
KERN83_PLAIN_EXCEPTION(ProcessInitException, "29eadb67-1156-4e5c-877c-096982d59156")          // process start-up
KERN83_PLAIN_EXCEPTION(ProfileSrcException, "0ab21ff8-8d0a-467d-ad91-69c83d8b7c86")           // profile sources
KERN83_PLAIN_EXCEPTION(StackOverflowException, "3ca8a1fa-9218-405e-9d26-a0d9ecdb5a2f")        // script recursion
KERN83_PLAIN_EXCEPTION(StringTemplateException, "9ed725c6-0721-469c-b686-d9e0a06c1bb6")       // string templates
KERN83_PLAIN_EXCEPTION(StringTokenizerException, "b2183638-9808-40eb-92b7-fe97024ce9cd")      // string tokenizing
KERN83_PLAIN_EXCEPTION(ThreadDeath, "e4e7736c-0aa3-4cf4-8117-c0c1af76410a")                   // a thread told to end
KERN83_PLAIN_EXCEPTION(TypeDomainPatternProviderException, "30d67306-a54d-41c2-b7b8-0cea800d0836")  // types
KERN83_PLAIN_EXCEPTION(ValueIsFilledException, "ea134a30-cc47-4b43-92a5-faf3a9979228")  // "is filled" checks

#undef KERN83_PLAIN_EXCEPTION
#undef KERN83_SOURCE_POSITION_EXCEPTION

// Arithmetic failures of Numeric; the message is the resource text of the code's key.
class KERN83_API NumericException : public Exception {
 public:
  static constexpr GUID CLSID = guid("1685aa0b-6369-4e29-ad1a-6050ee862646");
  // What went wrong; each code has its message key.
  enum Code {
    DivideByZero = 1,   // "IDS_NUMERROR_DIVIDEBYZERO"
    NegativePower = 2,  // "IDS_NUMERROR_NEGATIVEPOW"
    Overflow = 3,       // "IDS_NUMERROR_OVERFLOW"
  };
  // The exception of `code`, with that code's message.
  explicit NumericException(int code, IExceptionObject* inner = nullptr);
  // Another message; the code is then 0.
  NumericException(const Message& message, IExceptionObject* inner = nullptr);
  // The Code, or 0.
  int code() const noexcept { return code_; }
  // The message key of a code; null for a number that is no Code.
  static const char* keyOf(int code) noexcept;
  KERN83_EXCEPTION_BOILERPLATE(NumericException)

 private:
  int code_;
};

// A malformed list stream; the message is "IDS_LISTSTREAMERROR".
class KERN83_API ListStreamException : public Exception {
 public:
  static constexpr GUID CLSID = guid("75bb07f2-d7da-46b5-b854-934a85b8cd24");
  // The message "IDS_LISTSTREAMERROR"; the reader puts the place into auxText2.
  explicit ListStreamException(IExceptionObject* inner = nullptr);
  KERN83_EXCEPTION_BOILERPLATE(ListStreamException)
};

// An operation that was cancelled before it finished, and who cancelled it.
class KERN83_API CancelOperationException : public Exception {
 public:
  static constexpr GUID CLSID = guid("c2ba63b9-e226-4e15-9246-9a2edee6bad2");
  // Who cancelled: the user, a time limit, the process shutting down, or the calling code.
  enum Reason { ByUser, ByTimeout, ByShutdown, ByCaller };
  // `message` with an optional cause.
  CancelOperationException(Reason reason, const Message& message, IExceptionObject* inner = nullptr);
  // With the message and categories of `cause`, which becomes the inner cause.
  CancelOperationException(Reason reason, const Exception& cause);
  // The reason given to the constructor.
  Reason reason() const noexcept { return reason_; }
  KERN83_EXCEPTION_BOILERPLATE(CancelOperationException)

 private:
  Reason reason_;
};

// A failure of a call between processes; subclasses name the kind of failure.
class KERN83_API RemotingException : public Exception {
 public:
  static constexpr GUID CLSID = guid("4e36af69-a770-4d47-90c0-4b71f597d7aa");
  // `message` with an optional cause.
  explicit RemotingException(const Message& message, IExceptionObject* inner = nullptr);
  KERN83_EXCEPTION_BOILERPLATE(RemotingException)

 protected:
  // For subclasses, with their own class identifier.
  RemotingException(const GUID& clsid, const Message& message, IExceptionObject* inner);
};

// A failure of the component registry: a class that cannot be made, or an interface it lacks.
class KERN83_API SCOM_Exception : public Exception {
 public:
  static constexpr GUID CLSID = guid("831f592f-1950-4ea6-b822-07d8983de4ce");
  // No factory for the class, its module did not load, its factory failed, no such interface.
  enum Reason { ClassNotRegistered, ModuleLoadFailed, FactoryFailed, InterfaceNotSupported };
  // `message` with an optional cause.
  SCOM_Exception(Reason reason, const Message& message, IExceptionObject* inner = nullptr);
  // The reason given to the constructor.
  Reason reason() const noexcept { return reason_; }
  KERN83_EXCEPTION_BOILERPLATE(SCOM_Exception)

 private:
  Reason reason_;
};

// Exceptions that carry an error code of their own enumeration (the trailing arguments).
#define KERN83_ERROR_CODE_EXCEPTION(Name, Clsid, ...)                             \
  class KERN83_API Name : public Exception {                                      \
   public:                                                                        \
    /* The class identifier. */                                                   \
    static constexpr GUID CLSID = guid(Clsid);                                    \
    /* What went wrong. */                                                        \
    enum Error { __VA_ARGS__ };                                                   \
    /* `message` for `error`, with an optional cause. */                          \
    Name(Error error, const Message& message, IExceptionObject* inner = nullptr); \
    /* The error code. */                                                         \
    Error error() const noexcept { return error_; }                               \
    /* The error code too, for callers that name it the reason. */                \
    Error reason() const noexcept { return error_; }                              \
    KERN83_EXCEPTION_BOILERPLATE(Name)                                            \
                                                                                  \
   private:                                                                       \
    Error error_;                                                                 \
  };

// Buffers: a write past the end, a read before the start, a position outside the buffer.
KERN83_ERROR_CODE_EXCEPTION(BufferException, "85b024d3-03b0-49b0-917f-cd0ba14bd2fe", Overflow, Underflow,
                            InvalidPosition)
// Streams and files in use: reading, writing, an unexpected end, a closed stream, moving the position.
KERN83_ERROR_CODE_EXCEPTION(IOException, "8349c3b3-5806-484c-9580-e6e9cd3ac64f", ReadError, WriteError, EndOfStream,
                            Closed, SeekError)
// Threads and synchronisation objects: a refused start, a system refusal, an interrupted or timed-out
// wait, a thread that is not attached.
KERN83_ERROR_CODE_EXCEPTION(ThreadException, "9c435cb5-8772-40e7-96e1-ee7dd392b493", StartRefused, CreateFailed,
                            Interrupted, Timeout, NotAttached)
#undef KERN83_ERROR_CODE_EXCEPTION

// A file that could not be opened, read or written: what happened, the system's error code and the
// file's location. Category LocalFileAccessError.
class KERN83_API FileException : public Exception {
 public:
  static constexpr GUID CLSID = guid("fa9d11b2-2f7d-4e30-94ca-5929e53572f6");
  // What happened, as far as the system's code tells (Other when it does not).
  enum Error { NotFound, AccessDenied, AlreadyExists, ReadFailed, WriteFailed, SharingViolation, DiskFull, Other };
  // The message `text`, with an optional cause; the second form has `extra` as the auxiliary text, the
  // third a second location (the target of a copy or move) and a flag its raiser defines.
  FileException(Error error, const avo::WString& text, unsigned systemCode, const URL& url,
                IExceptionObject* inner = nullptr);
  FileException(Error error, const avo::WString& text, unsigned systemCode, const URL& url, const avo::WString& extra);
  FileException(Error error, const avo::WString& text, unsigned systemCode, const URL& url, bool flag,
                const URL& secondUrl, IExceptionObject* inner = nullptr);
  // The fields given to the constructor (the second location empty and the flag false when not given).
  Error error() const noexcept { return error_; }
  unsigned systemCode() const noexcept { return systemCode_; }
  const URL& url() const noexcept { return url_; }
  const URL& secondUrl() const noexcept { return secondUrl_; }
  bool flag() const noexcept { return flag_; }
  KERN83_EXCEPTION_BOILERPLATE(FileException)

 private:
  Error error_;
  unsigned systemCode_;
  URL url_;
  URL secondUrl_;
  bool flag_ = false;
};

// A structured storage that cannot be used; the message is its location. Category StoredDataError.
class KERN83_API StorageException : public Exception {
 public:
  static constexpr GUID CLSID = guid("ab12f6b3-cfdf-48bc-8a8f-b282c79e7d91");
  // Damaged data, a format not known, a missing stream inside the storage, a write to a read-only one.
  enum Error { Corrupted, UnknownFormat, StreamNotFound, ReadOnly };
  // The storage at `url`, with an optional cause.
  StorageException(Error error, const URL& url, IExceptionObject* inner = nullptr);
  // The fields given to the constructor.
  Error error() const noexcept { return error_; }
  const URL& url() const noexcept { return url_; }
  KERN83_EXCEPTION_BOILERPLATE(StorageException)

 private:
  Error error_;
  URL url_;
};

// A pivot table's source that cannot be used; the message is empty, the code says why.
class KERN83_API PivotSourceException : public Exception {
 public:
  static constexpr GUID CLSID = guid("bd9edfd1-3a09-4516-92e2-8a3a26314b4e");
  // The source itself, one of its fields, or a result with too many cells.
  enum Error { InvalidSource, InvalidField, TooManyCells };
  // `error` with an optional cause.
  explicit PivotSourceException(Error error, IExceptionObject* inner = nullptr);
  // The code given to the constructor.
  Error error() const noexcept { return error_; }
  KERN83_EXCEPTION_BOILERPLATE(PivotSourceException)

 private:
  Error error_;
};

// A type that cannot be used or found.
class KERN83_API TypeException : public Exception {
 public:
  static constexpr GUID CLSID = guid("553d6e03-22f4-498c-8a1c-c88e707b21d0");
  // `message`; no type.
  explicit TypeException(const Message& message);
  // About the type `typeId`; the message is the GUID's text form.
  explicit TypeException(const GUID& typeId);
  // The type's GUID, or the null GUID for the first form.
  const GUID& typeId() const noexcept { return typeId_; }
  KERN83_EXCEPTION_BOILERPLATE(TypeException)

 private:
  GUID typeId_{};
};

// A regular expression that ICU refused; the message is the pattern.
class KERN83_API RegexException : public Exception {
 public:
  static constexpr GUID CLSID = guid("3a238fe7-f480-4c3d-bc83-5a23c029c111");
  // `pattern` refused with ICU's `icuStatus`.
  RegexException(int icuStatus, const avo::WString& pattern);
  // ICU's error code (a UErrorCode) and the pattern.
  int icuStatus() const noexcept { return status_; }
  const avo::WString& pattern() const noexcept { return pattern_; }
  KERN83_EXCEPTION_BOILERPLATE(RegexException)

 private:
  int status_;
  avo::WString pattern_;
};

// Data or a component of a version this one cannot use.
class KERN83_API VersionException : public Exception {
 public:
  static constexpr GUID CLSID = guid("e785e75b-9f56-446b-828a-f77c60d734dd");
  // `version` names the version met (null: none); `extra` becomes the auxiliary text.
  VersionException(const Message& message, const char* version, const avo::WString& extra,
                   IExceptionObject* inner = nullptr);
  // The version given to the constructor (empty for null).
  const std::string& version() const noexcept { return version_; }
  KERN83_EXCEPTION_BOILERPLATE(VersionException)

 private:
  std::string version_;
};

// An automation call that answered a failure code; the message is empty.
class KERN83_API COMException : public Exception {
 public:
  static constexpr GUID CLSID = guid("703f8cd7-baeb-4ca4-9247-42fc19bd2404");
  // The failure `result`.
  explicit COMException(HRESULT result);
  // The code the call answered.
  HRESULT result() const noexcept { return result_; }
  KERN83_EXCEPTION_BOILERPLATE(COMException)

 private:
  HRESULT result_;
};

#undef KERN83_EXCEPTION_BOILERPLATE

}  // namespace core
