/* sim_heap.cpp: making objects and classes, and the classes that every VM has. */
#include "sim/internal.h"

#include <algorithm>
#include <stdexcept>

namespace sim {

/* ---- The records' own functions --------------------------------------------------------------------------------- */

std::string Method::label() const { return owner->name + "." + name; }

void Invocation::throws(Object* exception) { the_sim().set_pending(exception); }

Value& Object::operator[](std::string_view field) {
    const Field* found = type->find_field(field);
    if (!found) throw std::out_of_range(type->name + " has no field " + std::string(field));
    return fields.try_emplace(found, found->static_value).first->second; /* of an instance field: its zero */
}

/* The zero of a field's type. */
static Value zero_of(const std::string& signature) {
    switch (signature[0]) {
    case 'Z': return Value(false);
    case 'B': return Value(jbyte{0});
    case 'C': return Value(jchar{0});
    case 'S': return Value(jshort{0});
    case 'I': return Value(jint{0});
    case 'J': return Value(jlong{0});
    case 'F': return Value(jfloat{0});
    case 'D': return Value(jdouble{0});
    default: return Value(nullptr);
    }
}

Method& Class::add_method(std::string method_name, std::string method_signature, jint method_modifiers) {
    auto guard = the_sim().lock();
    Method& method = methods.emplace_back();
    method.owner = this;
    method.name = std::move(method_name);
    method.signature = std::move(method_signature);
    method.modifiers = method_modifiers;
    state().ids.insert(&method);
    return method;
}

Field& Class::add_field(std::string field_name, std::string field_signature, jint field_modifiers) {
    auto guard = the_sim().lock();
    Value zero = zero_of(field_signature);
    all_fields.push_back({this, std::move(field_name), std::move(field_signature), "", field_modifiers, zero});
    state().ids.insert(&all_fields.back());
    return all_fields.back();
}

Method* Class::find_method(std::string_view method_name, std::string_view method_signature) const {
    for (const Class* clazz = this; clazz; clazz = clazz->super)
        for (const Method& method : clazz->methods)
            if (method.name == method_name && method.signature == method_signature) return const_cast<Method*>(&method);
    return nullptr;
}

Field* Class::find_field(std::string_view field_name) const {
    for (const Class* clazz = this; clazz; clazz = clazz->super)
        for (const Field& field : clazz->all_fields)
            if (field.name == field_name) return const_cast<Field*>(&field);
    return nullptr;
}

bool Class::is_subclass_of(const Class* other) const {
    if (this == other) return true;
    for (const Class* interface : interfaces)
        if (interface->is_subclass_of(other)) return true;
    return super && super->is_subclass_of(other);
}

/* ---- Making objects --------------------------------------------------------------------------------------------- */

/* Enters a new object in the heap. Without a label it is called by its class and a number. */
template <class T> static T& add_object(Sim::State& s, Class* type, const std::string& label) {
    auto owned = std::make_unique<T>();
    T& object = *owned;
    s.objects.push_back(std::move(owned));
    object.type = type;
    object.hash = s.next_hash;
    s.next_hash += 0x11;
    object.label = label.empty() ? type->name + "#" + std::to_string(++s.serials[type->name]) : label;
    return object;
}

static Class& add_class(Sim::State& s, const std::string& name, const std::string& signature, Class* super) {
    auto meta = s.classes.find("java/lang/Class");
    Class& clazz = add_object<Class>(s, meta == s.classes.end() ? nullptr : meta->second, name);
    clazz.name = name;
    clazz.signature = signature;
    clazz.super = super;
    s.classes[name] = &clazz;
    return clazz;
}

Class& Sim::new_class(const std::string& name, Class* super) {
    auto guard = lock();
    if (!super && name != "java/lang/Object") super = &class_named("java/lang/Object");
    Class& clazz = add_class(*inner, name, "L" + name + ";", super);
    clazz.source_file = name.substr(name.rfind('/') + 1) + ".java";
    loaded_classes.push_back(&clazz);
    return clazz;
}

Class& Sim::new_interface(const std::string& name) {
    auto guard = lock();
    Class& clazz = new_class(name);
    clazz.is_interface = true;
    clazz.super = nullptr;
    return clazz;
}

Class& Sim::class_named(const std::string& name) {
    auto guard = lock();
    auto found = inner->classes.find(name);
    if (found != inner->classes.end()) return *found->second;
    if (name.empty() || name[0] != '[') throw std::out_of_range("no class " + name);
    return add_class(*inner, name, name, &class_named("java/lang/Object"));
}

Object& Sim::new_object(Class& type) {
    auto guard = lock();
    auto thread = inner->classes.find("java/lang/Thread");
    if (thread == inner->classes.end() || !type.is_subclass_of(thread->second))
        return add_object<Object>(*inner, &type, "");
    Thread& made = add_object<Thread>(*inner, &type, "");
    made.name = made.label;
    made.group = main_group;
    made.context_loader = system_loader;
    return made;
}

Object& Sim::new_object(const std::string& class_name, jint hash) {
    auto guard = lock();
    Object& object = new_object(class_named(class_name));
    if (hash != -1) object.hash = hash;
    return object;
}

Object& Sim::new_exception(const std::string& class_name, const std::string& message) {
    auto guard = lock();
    Object& exception = new_object(class_name);
    exception.text = message;
    return exception;
}

String& Sim::new_string(const std::string& utf) {
    auto guard = lock();
    String& string = add_object<String>(*inner, &class_named("java/lang/String"), '"' + utf + '"');
    string.utf = utf;
    return string;
}

static size_t element_size(char type) {
    switch (type) {
    case 'Z':
    case 'B': return 1;
    case 'C':
    case 'S': return 2;
    case 'J':
    case 'D': return 8;
    default: return 4;
    }
}

Array& Sim::new_array(char element_type, jsize length) {
    auto guard = lock();
    Array& array = add_object<Array>(*inner, &class_named(std::string("[") + element_type), "");
    array.element_type = element_type;
    array.length = length;
    array.storage.resize(element_size(element_type) * static_cast<size_t>(length));
    return array;
}

Array& Sim::new_object_array(Class& element, jsize length) {
    auto guard = lock();
    Array& array = add_object<Array>(*inner, &class_named("[" + element.signature), "");
    array.element_type = 'L';
    array.length = length;
    array.objects.resize(static_cast<size_t>(length));
    return array;
}

ThreadGroup& Sim::new_group(const std::string& name, ThreadGroup* parent) {
    auto guard = lock();
    ThreadGroup& group = add_object<ThreadGroup>(*inner, &class_named("java/lang/ThreadGroup"), name);
    group.name = name;
    group.parent = parent;
    return group;
}

Thread& Sim::new_thread(const std::string& name, ThreadGroup* group) {
    auto guard = lock();
    Thread& thread = static_cast<Thread&>(new_object(class_named("java/lang/Thread")));
    thread.label = thread.name = name;
    if (group) thread.group = group;
    thread.life = Thread::Life::alive;
    return thread;
}

Frame& Sim::push_frame(Thread& thread, Method& method, jlocation at) {
    auto guard = lock();
    auto frame = std::make_unique<Frame>();
    frame->thread = &thread;
    frame->method = &method;
    frame->location = at;
    inner->frame_ids.insert(frame.get());
    thread.frames.push_front(std::move(frame));
    return *thread.frames.front();
}

void Sim::own(Thread& thread, Object& monitor, jint entries) {
    auto guard = lock();
    monitor.monitor.owner = &thread;
    monitor.monitor.entry_count = entries;
    thread.owned.push_back(&monitor);
}

/* ---- The classes that every VM has ------------------------------------------------------------------------------ */

static void add_thread_methods(Class& thread) {
    thread.add_method("<init>", "()V");
    thread.add_method("isDaemon", "()Z").body = [](Invocation& call) {
        auto guard = the_sim().lock();
        return Value(static_cast<Thread*>(call.receiver)->daemon);
    };
    thread.add_method("setDaemon", "(Z)V").body = [](Invocation& call) {
        auto guard = the_sim().lock();
        static_cast<Thread*>(call.receiver)->daemon = call.args[0].raw.z != 0;
        return Value();
    };
}

static Value get_property(Invocation& call) {
    Sim& sim = the_sim();
    auto guard = sim.lock();
    auto* key = dynamic_cast<String*>(call.args[0].object);
    auto found = key ? sim.properties.find(key->utf) : sim.properties.end();
    return found == sim.properties.end() ? Value(nullptr) : Value(&sim.new_string(found->second));
}

void add_platform_classes(Sim& sim) {
    sim.new_class("java/lang/Object").add_method("<init>", "()V");
    Class& meta = sim.new_class("java/lang/Class");
    sim.class_named("java/lang/Object").type = meta.type = &meta;
    for (const char* name : {"java/lang/String", "java/lang/ClassLoader", "java/lang/ThreadGroup"}) sim.new_class(name);
    add_thread_methods(sim.new_class("java/lang/Thread"));
    sim.new_class("java/lang/System").add_method("getProperty", "(Ljava/lang/String;)Ljava/lang/String;", 0x9).body =
        get_property;
    for (auto [name, super] : std::initializer_list<std::pair<const char*, const char*>>{
             {"java/lang/Throwable", "java/lang/Object"},
             {"java/lang/Exception", "java/lang/Throwable"},
             {"java/lang/Error", "java/lang/Throwable"},
             {"java/lang/ThreadDeath", "java/lang/Error"},
             {"java/lang/NoClassDefFoundError", "java/lang/Error"},
             {"java/lang/NoSuchMethodError", "java/lang/Error"},
             {"java/lang/NoSuchFieldError", "java/lang/Error"},
             {"java/lang/ArrayIndexOutOfBoundsException", "java/lang/Exception"},
             {"java/lang/ArrayStoreException", "java/lang/Exception"},
             {"java/lang/NegativeArraySizeException", "java/lang/Exception"},
             {"java/lang/NullPointerException", "java/lang/Exception"}})
        sim.new_class(name, &sim.class_named(super)).add_method("<init>", "()V");
}

} // namespace sim
