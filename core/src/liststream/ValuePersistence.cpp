// GenericValue::serialize / deserialize: every value is one list, its type code first, then its payload:
//
//   {0}                        Undefined             {1}           Null
//   {2,0} / {2,1}              Boolean               {3,12.5}      Number (canonical decimal text)
//   {4,"text"}                 String                {1000}        the unspecified-argument marker
//   {5,20240229093000}         Date, as the integer YYYYMMDDhhmmss (the empty date is 10101000000)
//   {100,<class id>,payload}   the library's object kinds:
//       UUID, GUID             <36-character GUID>
//       binary data            Base64 bytes
//       local string           {"en","text"},{"ru","текст"}     one list per language, in stored order
//       composite id           {<GUID>,<GUID>,...}
//       type description       {{<type>},...},{digits,fraction digits,non-negative},{length,fixed},
//                              {date fractions},{length,fixed}   where <type> is {code} or {100,<class id>}
//       value array            {<value>,<value>,...}            each element in this same form, in order
//
//   {100,<class id>,payload}   object kinds of other families that answer IPersistentObject
//                              (core/Persistence.h); their registered type reads the payload back
//
// A reader skips items a newer writer appended to any of these lists. Automation objects and other
// object types have no persistent form: serialize throws UnsupportedOperationException for them.
//
// Arrays nest at most kMaxArrayDepth deep, both ways: the data decides the depth, the stack must not.
// Reading deeper throws ListStreamException; writing deeper (an array that holds itself) throws
// UnsupportedOperationException, with what was written so far left in the stream.
#include "base/SourcePosition.h"
#include "core/Exception.h"
#include "core/ListStream.h"
#include "core/Persistence.h"
#include "core/Value.h"

namespace core {

namespace {

[[noreturn]] void malformed(const char16_t* what) {
  ListStreamException e;
  e.setAuxText2(what);
  throw e;
}

constexpr int kMaxArrayDepth = 256;

thread_local int t_arrayDepth = 0;

// Counts one level of array nesting on this thread while it lives.
class ArrayDepth {
 public:
  explicit ArrayDepth(bool reading) {
    if (t_arrayDepth == kMaxArrayDepth) {
      if (reading) malformed(u"arrays nested too deep");
      throw UnsupportedOperationException(KERN83_SOURCE_POSITION("ValuePersistence"),
                                          ResourceKey{"IDS_ERR_UNSUPPORTED_OPERATION"});
    }
    ++t_arrayDepth;
  }
  ~ArrayDepth() { --t_arrayDepth; }
  ArrayDepth(const ArrayDepth&) = delete;
  ArrayDepth& operator=(const ArrayDepth&) = delete;
};

constexpr unsigned long long kDateYear = 10000000000ULL;  // YYYYMMDDhhmmss: the year's place value

unsigned long long date_number(const Date& date) {
  const DateFields f = date.getFields();
  return static_cast<unsigned long long>(f.year) * kDateYear + f.month * 100000000ULL + f.day * 1000000ULL +
         f.hour * 10000ULL + f.minute * 100ULL + static_cast<unsigned long long>(f.second);
}

Date date_of(unsigned long long n) {
  DateFields f;
  f.second = static_cast<int>(n % 100);
  f.minute = static_cast<int>(n / 100 % 100);
  f.hour = static_cast<int>(n / 10000 % 100);
  f.day = static_cast<int>(n / 1000000 % 100);
  f.month = static_cast<int>(n / 100000000 % 100);
  f.year = n / kDateYear > 9999 ? 0 : static_cast<int>(n / kDateYear);
  Date date;
  if (!make_date(f, date)) malformed(u"a date YYYYMMDDhhmmss");
  return date;
}

// ----- type descriptions

void put_type(ListOutStream& out, const Type& type) {
  out.putBeginOfList();
  out.put(static_cast<int>(type.getTypeCode()));
  if (type.getTypeCode() == Type::Object) out.put(type.getCLSID());
  out.putEndOfList();
}

Type get_type(ListInStream& in) {
  in.getBeginOfList();
  int code = 0;
  in.get(code);
  Type type;
  if (code == Type::Object) {
    GUID clsid;
    in.get(clsid);
    if (clsid == kNullGuid) malformed(u"an object type's class id");
    type = Type(clsid);
  } else {
    type = Type(Type::create_type(code));
    if (!type) malformed(u"a type code");
  }
  in.skipListContent();
  in.getEndOfList();
  return type;
}

void put_pattern(ListOutStream& out, const TypeDomainPattern& pattern) {
  out.putBeginOfList();
  for (const Type& type : pattern.types()) put_type(out, type);
  out.putEndOfList();
  const NumericQualifiers& n = pattern.numericQualifiers();
  out.putBeginOfList(), out.put(n.digits), out.put(n.fractionDigits), out.put(n.nonnegative), out.putEndOfList();
  const StringQualifiers& s = pattern.stringQualifiers();
  out.putBeginOfList(), out.put(s.length), out.put(s.allowedLength == AllowedLength::Fixed), out.putEndOfList();
  out.putBeginOfList(), out.put(static_cast<int>(pattern.dateQualifiers().fractions)), out.putEndOfList();
  const BinaryQualifiers& b = pattern.binaryQualifiers();
  out.putBeginOfList(), out.put(b.length), out.put(b.allowedLength == AllowedLength::Fixed), out.putEndOfList();
}

TypeDomainPattern get_pattern(ListInStream& in) {
  TypeDomainPattern pattern;
  in.getBeginOfList();
  while (!in.isEndOfList()) pattern.addType(get_type(in));
  in.getEndOfList();
  NumericQualifiers n;
  in.getBeginOfList(), in.get(n.digits), in.get(n.fractionDigits), in.get(n.nonnegative);
  in.skipListContent(), in.getEndOfList();
  StringQualifiers s;
  bool fixed = false;
  in.getBeginOfList(), in.get(s.length), in.get(fixed), in.skipListContent(), in.getEndOfList();
  s.allowedLength = fixed ? AllowedLength::Fixed : AllowedLength::Variable;
  DateQualifiers d;
  int fractions = 0;
  in.getBeginOfList(), in.get(fractions), in.skipListContent(), in.getEndOfList();
  if (fractions < 0 || fractions > 2) malformed(u"date fractions 0, 1 or 2");
  d.fractions = static_cast<DateFractions>(fractions);
  BinaryQualifiers b;
  in.getBeginOfList(), in.get(b.length), in.get(fixed), in.skipListContent(), in.getEndOfList();
  b.allowedLength = fixed ? AllowedLength::Fixed : AllowedLength::Variable;
  pattern.setNumericQualifiers(n);
  pattern.setStringQualifiers(s);
  pattern.setDateQualifiers(d);
  pattern.setBinaryQualifiers(b);
  return pattern;
}

// ----- object kinds

template <class Interface>
InterfacePtr<Interface> kind_interface(IValue* value) {
  return InterfacePtr<IValue>(value).query<Interface>();
}

void put_array(IOutPersistenceStorage* storage, const IValueArray& array) {
  const ArrayDepth depth(false);
  ListOutStream& out = storage->stream();
  out.putBeginOfList();
  const std::uint32_t count = array.getCount();
  for (std::uint32_t i = 0; i < count; ++i) array.getAt(i).serialize(storage);
  out.putEndOfList();
}

InterfacePtr<IValueArray> get_array(IInPersistenceStorage* storage) {
  const ArrayDepth depth(true);
  ListInStream& in = storage->stream();
  InterfacePtr<IValueArray> array = create_value_array();
  in.getBeginOfList();
  while (!in.isEndOfList()) {
    Value element;
    GenericValue::deserialize(storage, element);
    array->add(element);
  }
  in.getEndOfList();
  return array;
}

void put_object(IOutPersistenceStorage* storage, IValue* value, const GUID& clsid) {
  ListOutStream& out = storage->stream();
  out.put(clsid);
  if (clsid == kUUIDTypeCLSID) {
    out.put(kind_interface<IUUIDValue>(value)->getUUID());
  } else if (clsid == kGUIDTypeCLSID) {
    out.put(kind_interface<IGUID_Value>(value)->getGUID());
  } else if (clsid == kBinaryDataTypeCLSID) {
    out.put(kind_interface<IBinaryDataValue>(value)->getBytes());
  } else if (clsid == kLocalStringTypeCLSID) {
    for (const LocalWString::Entry& entry : kind_interface<ILocalString>(value)->getLocalString().entries()) {
      out.putBeginOfList();
      out.put(avo::from_utf8(entry.language));
      out.put(entry.text);
      out.putEndOfList();
    }
  } else if (clsid == kCompositeIDTypeCLSID) {
    out.putBeginOfList();
    for (const GUID& part : kind_interface<ICompositeIDValue>(value)->getCompositeID().parts()) out.put(part);
    out.putEndOfList();
  } else if (clsid == kTypeDomainPatternTypeCLSID) {
    put_pattern(out, kind_interface<ITypeDomainPatternValue>(value)->getTypeDomainPattern());
  } else if (clsid == kValueArrayTypeCLSID) {
    put_array(storage, *kind_interface<IValueArray>(value));
  }
}

bool persistable_object(const GUID& clsid) noexcept {
  return clsid == kUUIDTypeCLSID || clsid == kGUIDTypeCLSID || clsid == kBinaryDataTypeCLSID ||
         clsid == kLocalStringTypeCLSID || clsid == kCompositeIDTypeCLSID || clsid == kTypeDomainPatternTypeCLSID ||
         clsid == kValueArrayTypeCLSID;
}

// The reader of the payload of another family's object kind, or null.
InterfacePtr<IPersistentObjectType> payload_reader(const GUID& clsid) {
  IType* type = find_object_type(clsid);
  if (type == nullptr) return nullptr;
  return InterfacePtr<IUnknown>(type).query<IPersistentObjectType>();
}

// Reads the payload of an object kind (the class id is read); returns the new value with a reference.
InterfacePtr<IValue> get_object(IInPersistenceStorage* storage) {
  ListInStream& in = storage->stream();
  GUID clsid;
  in.get(clsid);
  InterfacePtr<IUnknown> made;
  if (clsid == kUUIDTypeCLSID || clsid == kGUIDTypeCLSID) {
    GUID id;
    in.get(id);
    if (clsid == kUUIDTypeCLSID) {
      made = create_uuid_value(id);
    } else {
      made = create_guid_value(id);
    }
  } else if (clsid == kBinaryDataTypeCLSID) {
    avo::String bytes;
    in.get(bytes);
    made = create_binary_data_val(bytes.data(), bytes.size());
  } else if (clsid == kLocalStringTypeCLSID) {
    LocalWString text;
    avo::WString language, entry;
    while (!in.isEndOfList()) {
      in.getBeginOfList(), in.get(language), in.get(entry), in.skipListContent(), in.getEndOfList();
      text.set(avo::to_utf8(language), entry);
    }
    made = create_local_str_val(text);
  } else if (clsid == kCompositeIDTypeCLSID) {
    CompositeID id;
    in.getBeginOfList();
    while (!in.isEndOfList()) {
      GUID part;
      in.get(part);
      id.append(part);
    }
    in.getEndOfList();
    made = create_composite_id_val(id);
  } else if (clsid == kTypeDomainPatternTypeCLSID) {
    made = create_type_domain_val(get_pattern(in));
  } else if (clsid == kValueArrayTypeCLSID) {
    made = get_array(storage);
  } else if (InterfacePtr<IPersistentObjectType> reader = payload_reader(clsid)) {
    made.attach(reader->deserializePayload(storage));
  } else {
    malformed(u"an object kind with a persistent form");
  }
  InterfacePtr<IValue> value = made.query<IValue>();
  if (!value) malformed(u"an object kind with a persistent form");
  return value;
}

}  // namespace

void GenericValue::serialize(IOutPersistenceStorage* storage) const {
  ListOutStream& out = storage->stream();
  IValue* value = _getIValue();
  const Type type(value->type());
  const Type::Code code = type.getTypeCode();
  InterfacePtr<IPersistentObject> persistent;
  if (code == Type::Object && !persistable_object(type.getCLSID())) {
    persistent = kind_interface<IPersistentObject>(value);
    if (!persistent) {
      throw UnsupportedOperationException(KERN83_SOURCE_POSITION("ValuePersistence"),
                                          ResourceKey{"IDS_ERR_UNSUPPORTED_OPERATION"});
    }
  }
  out.putBeginOfList();
  out.put(static_cast<int>(code));
  const void* data = value->getDataPtr();
  switch (code) {
    case Type::Boolean:
      out.put(*static_cast<const bool*>(data));
      break;
    case Type::Number:
      out.put(*static_cast<const Numeric*>(data));
      break;
    case Type::String:
      out.put(*static_cast<const avo::WString*>(data));
      break;
    case Type::Date:
      out.put(date_number(*static_cast<const Date*>(data)));
      break;
    case Type::Object:
      if (persistent) {
        out.put(type.getCLSID());
        persistent->serializePayload(storage);
      } else {
        put_object(storage, value, type.getCLSID());
      }
      break;
    default:
      break;  // Undefined, Null and the marker have no payload
  }
  out.putEndOfList();
}

void GenericValue::deserialize(IInPersistenceStorage* storage, GenericValue& out) {
  ListInStream& in = storage->stream();
  in.getBeginOfList();
  int code = -1;
  in.get(code);
  InterfacePtr<IValue> value;
  switch (code) {
    case Type::Undefined:
      value.attach(create_undefined_value());
      break;
    case Type::Null:
      value.attach(create_null_value());
      break;
    case Type::Unspecified:
      value.attach(proceed_call_unspecified_value());
      break;
    case Type::Boolean: {
      bool b = false;
      in.get(b);
      value.attach(create_boolean_value(b));
      break;
    }
    case Type::Number: {
      Numeric n;
      in.get(n);
      value.attach(create_numeric_value(n));
      break;
    }
    case Type::String: {
      avo::WString text;
      in.get(text);
      value.attach(create_string_value(text));
      break;
    }
    case Type::Date: {
      unsigned long long n = 0;
      in.get(n);
      value.attach(create_date_value(date_of(n)));
      break;
    }
    case Type::Object:
      value = get_object(storage);
      break;
    default:
      malformed(u"a value kind");
  }
  in.skipListContent();
  in.getEndOfList();
  out.setIValue(value.get());
}

}  // namespace core
