"""Which of several methods a call means: Java's three phases (as it is; with boxing; with variable arity) and the most specific."""
from collections import namedtuple

from quor.errors import QuorError
from quor.expression.conversions import shown

Chosen = namedtuple("Chosen", "method spread")
Chosen.__doc__ = "A Method, and whether the last arguments go into an array."

_SHOWN = 4  # candidates in a message


class NotApplicable(QuorError):
    """No method takes these arguments."""


class Overloads:
    """Chooses by the relations between types."""

    def __init__(self, conversions):
        self._conversions = conversions

    def choose(self, methods, types, owner):
        """The Chosen one for arguments of these types; `owner` is the class that was asked. Raises NotApplicable, and a QuorError
        when several fit equally well."""
        methods = _without_overridden(methods)
        visible = [each for each in methods if not each.private or each.owner == owner]
        for candidates in (visible, methods):  # a superclass's private ones only when there is no other
            for spread, fitting in self._phases(candidates, types):
                if fitting:
                    return Chosen(self._most_specific(fitting, types, spread), spread)
        raise NotApplicable(f"no method {_call(methods[0].name, types)}; there is {_list(methods)}")

    def _phases(self, methods, types):
        fixed = [each for each in methods if len(each.parameters) == len(types)]
        for boxing in (False, True):
            yield False, [each for each in fixed if self._takes(each.parameters, types, boxing)]
        yield True, [each for each in methods if each.varargs and len(types) >= len(each.parameters) - 1
                     and self._takes(_spread(each, len(types)), types, True)]

    def _takes(self, parameters, types, boxing):
        return all(self._conversions.fits(type_, parameter, boxing) for type_, parameter in zip(types, parameters))

    def _most_specific(self, methods, types, spread):
        best = [each for each in methods
                if all(self._more_specific(each, other, len(types), spread) for other in methods if other is not each)]
        if len(best) == 1:
            return best[0]
        raise QuorError(f"{_call(methods[0].name, types)} is ambiguous: {_list(methods, ' or ')}; cast an argument")

    def _more_specific(self, one, other, count, spread):
        if spread:
            length = max(count, len(other.parameters))
            pairs = zip(_spread(one, length), _spread(other, length))
        else:
            pairs = zip(one.parameters, other.parameters)
        return all(self._conversions.is_subtype(mine, its) for mine, its in pairs)


def _without_overridden(methods):
    """Of those with the same parameters the first, which is the lowest class's; a bridge gives way to what it leads to."""
    found = {}
    for each in methods:
        key = each.signature.partition(")")[0]
        if key not in found or found[key].bridge and not each.bridge and each.owner == found[key].owner:
            found[key] = each
    return list(found.values())


def _spread(method, count):
    """The types that so many arguments of a method of variable arity have."""
    parameters = method.parameters
    return parameters[:-1] + [parameters[-1][1:]] * (count - len(parameters) + 1)


def element_type(method):
    """The type of what goes into the array of a method of variable arity."""
    return method.parameters[-1][1:]


def _short(type_):
    return shown(type_).rpartition(".")[2]


def _call(name, types):
    return f"{name}({', '.join(map(_short, types))})"


def _list(methods, between=", "):
    texts = [_call(each.name, each.parameters) for each in methods[:_SHOWN]]
    return between.join(texts) + (f" and {len(methods) - _SHOWN} more" if len(methods) > _SHOWN else "")
