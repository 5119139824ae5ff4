/* jni_types.h: the types that a field or an array element can have, as lists for families of functions with a member
 * for each type.
 *
 * MEMBER(name, Name) gets the type's name in the agent's functions (agent_get_field_int) and in JNI's (GetIntField);
 * its C type is j##name (jint), its array's j##name##Array (jintArray). */
#ifndef QUOR_JNI_TYPES_H
#define QUOR_JNI_TYPES_H

#define JNI_NUMBERS(MEMBER) \
    MEMBER(byte, Byte)      \
    MEMBER(char, Char)      \
    MEMBER(short, Short)    \
    MEMBER(int, Int)        \
    MEMBER(long, Long)      \
    MEMBER(float, Float)    \
    MEMBER(double, Double)

#define JNI_PRIMITIVES(MEMBER) \
    MEMBER(boolean, Boolean)   \
    JNI_NUMBERS(MEMBER)

#define JNI_TYPES(MEMBER)  \
    JNI_PRIMITIVES(MEMBER) \
    MEMBER(object, Object)

#endif
