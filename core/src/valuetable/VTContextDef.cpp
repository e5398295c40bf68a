// The script methods of the value table. One row per method; the hierarchical form differs only in the
// parameter counts and defaults of the methods that take an include-subordinates flag.
#include "core/ValueTableScript.h"

namespace core {

namespace {

struct MethodInfo {
  const char16_t* names[2];
  int flatParams;
  int treeParams;
  bool returnsValue;
};

constexpr MethodInfo kMethods[VTContextDefBase::kMethodCount] = {
    {{u"Count", u"Количество"}, 0, 0, true},
    {{u"IndexOf", u"Индекс"}, 1, 1, true},
    {{u"Add", u"Добавить"}, 0, 0, true},
    {{u"Insert", u"Вставить"}, 1, 1, true},
    {{u"Delete", u"Удалить"}, 1, 1, false},
    {{u"Clear", u"Очистить"}, 0, 0, false},
    {{u"Move", u"Сдвинуть"}, 2, 2, false},
    {{u"Find", u"Найти"}, 2, 3, true},
    {{u"FindRows", u"НайтиСтроки"}, 1, 2, true},
    {{u"Total", u"Итог"}, 1, 2, true},
    {{u"Sort", u"Сортировать"}, 2, 3, false},
    {{u"LoadColumn", u"ЗагрузитьКолонку"}, 2, 2, false},
    {{u"UnloadColumn", u"ВыгрузитьКолонку"}, 1, 1, true},
    {{u"Get", u"Получить"}, 1, 1, true},
};

bool known(int method) { return method >= 0 && method < VTContextDefBase::kMethodCount; }

}  // namespace

VTContextDefBase::VTContextDefBase() = default;

VTContextDefBase::~VTContextDefBase() = default;

const char16_t* VTContextDefBase::getMethodName(int method, int alias) {
  if (!known(method) || alias < 0 || alias > 1) return nullptr;
  const MethodInfo& info = kMethods[method];
  return info.names[alias] != nullptr ? info.names[alias] : info.names[0];
}

int VTContextDefBase::getNParams(int method) {
  if (!known(method)) return 0;
  return useSubordinate() ? kMethods[method].treeParams : kMethods[method].flatParams;
}

bool VTContextDefBase::isParamIn(int method, int param) { return param >= 0 && param < getNParams(method); }

bool VTContextDefBase::getParamDefValue(int method, int param, GenericValue* out) {
  if (!isParamIn(method, param) || out == nullptr) return false;
  switch (method) {
    case kFind:
      if (param == 1) out->assign(u"");
      if (param == 2) out->assign(false);
      return param >= 1;
    case kFindRows:
    case kTotal:
      if (param == 1) out->assign(false);
      return param == 1;
    case kSort:
      // Hierarchical: (order, include subordinates, comparison); flat: (order, comparison).
      if (param == 1 && useSubordinate()) out->assign(false);
      if ((param == 1 && !useSubordinate()) || param == 2) out->clear();
      return param >= 1;
    default:
      return false;
  }
}

bool VTContextDefBase::hasRetVal(int method) { return known(method) && kMethods[method].returnsValue; }

int VTContextDefBase::findMethod(std::u16string_view name) { return names_.findMethod(this, name); }

}  // namespace core
