"""Java expressions as people type them in a debugger: lexer, parser, evaluator. Needs no gdb.

What the program has (locals, fields, classes, methods) is asked of a world.World. Values have their declared types, and operators
and overloads go by them as in Java; where a declared type has no such member, the object's own class is asked too, because type
arguments are gone when the program runs.
"""
