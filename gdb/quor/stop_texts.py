"""What a stop says: who, where, the source line below."""
from quor import event_frame, names, show, source_folders, thread_names, waiting
from quor.agent import hooks
from quor.errors import QuorError


def thread(event):
    """thread 22 "pool-1-thread-4\""""
    found = hooks.event_thread(event)
    if found is None:
        return "a thread that is not known"
    return show.thread_name(found.num, thread_names.name_of(found))


def where(event):
    """(Shop.serve (Shop.java:33), its source line or None)"""
    try:
        method, line = event_frame.place(event)
    except QuorError:
        return "a method that is not known", None
    text = f"{names.class_name(method.klass)}.{method.name}"
    source = None if method.is_native else source_folders.line(method.klass, method.source, line)
    return show.located(text, show.place(method.source, line, method.is_native)), source


def arrived(event):
    """Shop.serve (Shop.java:33), and the source line below."""
    place, source = where(event)
    return "\n".join([place] + [source] * bool(source))


def call(event):
    """Shop.serve(item=Shop$Item@7f00, each=2), thread 22 "clerk": at a method's first bytecode, read from memory."""
    frame = event_frame.EventFrame(event)
    shown = [f"{each.name}={each.text}" for each in frame.readers.locals.of(frame.java, depth=0)
             if each.argument and each.name != "this"]
    return f"{names.class_name(frame.method.klass)}.{frame.method.name}({', '.join(shown)}), {thread(event)}"


def returned(event):
    """Shop.serve returned 6, thread 22 "clerk": at an instruction that returns, read from memory."""
    frame = event_frame.EventFrame(event)
    value = frame.returned()
    return f"{names.class_name(frame.method.klass)}.{frame.method.name} returned{f' {value}' if value is not None else ''}, {thread(event)}"


def hit(title, event, extra=None):
    """Java breakpoint J3, Shop.serve (Shop.java:33), thread 22 "pool-1-thread-4", and what else there is to see."""
    place, source = where(event)
    lines = [f"{title}, {place}, {thread(event)}"]
    if extra is not None:
        lines += extra()
    if source:
        lines.append(source)
    more = waiting.count()
    if more:
        lines.append(f"{more} more stopped at events of their own")
    return "\n".join(lines)
