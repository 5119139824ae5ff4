"""`java symbols`: names of compiled methods for everything in gdb that knows symbols only."""
import gdb

from quor import symbol_files
from quor.commands import command
from quor.errors import QuorError
from quor.hotspot import vm as vms
from quor.hotspot.memory import Unreadable
from quor.hotspot.symbolfile import symbol_file
from quor.hotspot.tables import MissingEntry


class _Files:
    """The symbol files that gdb has loaded from us."""
    loaded = {}  # inferior's number: path


@command("symbols", group="Look", states=("stopped", "core"), usage="[off]", complete=("off",),
         examples=("java symbols", "info symbol $pc", "java symbols off"))
def symbols(arguments, _from_tty):
    """Gives gdb a symbol for each compiled Java method and each stub of the VM.

    Then info symbol, x/i, disassemble and the frames of `bt -no-filters` name them as well. The symbols tell of this
    moment: after the program ran, methods have been compiled and thrown away; give the command again. `java symbols off`
    takes them back."""
    if arguments not in ("", "off"):
        raise QuorError(f'java symbols: "{arguments}" is not known; usage: java symbols [off]')
    _remove()
    if not arguments:
        _add()


def _add():
    vm = vms.required()
    low, high = vm.code_cache.bounds() if vm.code_cache is not None else (0, 0)
    if not low:
        raise QuorError("java symbols: the VM has no code cache yet")
    found = [(blob.code, blob.end - blob.code, _name(vm, blob)) for blob in vm.code_cache.blobs()]
    number = gdb.selected_inferior().num
    _Files.loaded[number] = symbol_files.load(f"java-{number}.so", symbol_file(vm.word_size, low, high, found))
    gdb.write(f"{len(found)} symbols of the code cache, as it is now.\n")


def _remove():
    symbol_files.unload(_Files.loaded.pop(gdb.selected_inferior().num, None))


def _name(vm, blob):
    if blob.compiled and vm.debug is not None and vm.methods is not None:
        try:
            method = vm.methods.plausible(vm.debug.details(blob).method)
        except (Unreadable, MissingEntry):
            method = None
        if method is not None:
            return method.full_name
    return f"<{blob.name}>"
