/* Fields and arrays. A check is written once, over the C type, and runs for each type of jni_types.h. */
#include "entry/agent_entry.h"
#include "entry/jni_types.h"

#include "entry_fixture.h"

#include <string>

using testing::internal::CaptureStderr;
using testing::internal::CaptureStdout;
using testing::internal::GetCapturedStderr;
using testing::internal::GetCapturedStdout;

/* A value of each type that a getter of another width or signedness would change. */
static const jboolean value_of_boolean = JNI_TRUE;
static const jbyte value_of_byte = -5;
static const jchar value_of_char = 0xbeef;
static const jshort value_of_short = -1234;
static const jint value_of_int = -0x12345678;
static const jlong value_of_long = 0x123456789abcdef0;
static const jfloat value_of_float = -1.25f;
static const jdouble value_of_double = 1e300;

struct Values : EntryTest {
    template <class V> sim::Field& instance_field(const char* name, V value) {
        sim::Field& field = foo.add_field(name, {sim::Value(value).type});
        object[name] = sim::Value(value);
        return field;
    }
    template <class V> sim::Field& static_field(const char* name, V value) {
        sim::Field& field = foo.add_field(std::string("static") + name, {sim::Value(value).type}, 0x9);
        field.static_value = sim::Value(value);
        return field;
    }
    /* An array of three elements, whose middle one is `value`. */
    template <class V> sim::Array& array_with(V value) {
        sim::Array& array = sim.new_array(sim::Value(value).type, 3);
        array.at<V>(1) = value;
        return array;
    }
    std::string call(const std::string& function, const std::string& arguments) {
        return "JNI." + function + "(" + arguments + ")";
    }
    /* The call of a setter, and its look for an exception. */
    strings setting(const std::string& function, const std::string& arguments) {
        return {call(function, arguments), "JNI.ExceptionOccurred()"};
    }
    /* After a setter whose JNI function raised an exception. */
    void expect_told_and_cleared() {
        EXPECT_EQ(1, occurrences("told to", GetCapturedStderr()));
        EXPECT_EQ(nullptr, sim.pending());
    }

    sim::Class& foo = sim.new_class("Foo");
    sim::Object& object = sim.new_object(foo);
    sim::Object& other = sim.new_object(foo);
    jclass clazz = sim.local<jclass>(&foo);
    jobject reference = sim.local(&object);
    jobject other_reference = sim.local(&other);
    sim::Object& exception = sim.new_exception("java/lang/Error", "told to");
};
SIM_ALL_MODES(Values);

/* ---- Fields ---- */

TEST_P(Values, OfInstanceFieldsAreGotAsTheyAre){
#define CHECK(name, Name)                                                                            \
    {                                                                                                \
        jfieldID id = instance_field(#name, value_of_##name).id();                                   \
        sim.clear_calls();                                                                           \
        EXPECT_EQ(value_of_##name, agent_get_field_##name(sim.env(), reference, id));                \
        EXPECT_EQ(strings({call("Get" #Name "Field", object.label + ", Foo." #name)}), sim.calls()); \
        EXPECT_EQ(value_of_##name, agent_get_field_##name(NULL, reference, id));                     \
    }
    JNI_PRIMITIVES(CHECK)
#undef CHECK
}

TEST_P(Values, OfStaticFieldsAreGotAsTheyAre){
#define CHECK(name, Name)                                                                            \
    {                                                                                                \
        jfieldID id = static_field(#name, value_of_##name).id();                                     \
        sim.clear_calls();                                                                           \
        EXPECT_EQ(value_of_##name, agent_get_static_field_##name(sim.env(), clazz, id));             \
        EXPECT_EQ(strings({call("GetStatic" #Name "Field", "Foo, Foo.static" #name)}), sim.calls()); \
        EXPECT_EQ(value_of_##name, agent_get_static_field_##name(NULL, clazz, id));                  \
    }
    JNI_PRIMITIVES(CHECK)
#undef CHECK
}

TEST_P(Values, OfInstanceFieldsAreSetAsTheyAre){
#define CHECK(name, Name)                                                                \
    {                                                                                    \
        jfieldID id = instance_field(#name, j##name()).id();                             \
        sim.clear_calls();                                                               \
        EXPECT_EQ(0, agent_set_field_##name(sim.env(), reference, id, value_of_##name)); \
        EXPECT_EQ(2u, sim.calls().size());                                               \
        EXPECT_EQ(1u, sim.count_calls("JNI.Set" #Name "Field"));                         \
        EXPECT_EQ("JNI.ExceptionOccurred()", sim.calls().back());                        \
        EXPECT_EQ(value_of_##name, agent_get_field_##name(NULL, reference, id));         \
        EXPECT_EQ(0, agent_set_field_##name(NULL, reference, id, j##name()));            \
        EXPECT_EQ(j##name(), agent_get_field_##name(NULL, reference, id));               \
    }
    JNI_PRIMITIVES(CHECK)
#undef CHECK
}

TEST_P(Values, OfStaticFieldsAreSetAsTheyAre){
#define CHECK(name, Name)                                                                   \
    {                                                                                       \
        jfieldID id = static_field(#name, j##name()).id();                                  \
        sim.clear_calls();                                                                  \
        EXPECT_EQ(0, agent_set_static_field_##name(sim.env(), clazz, id, value_of_##name)); \
        EXPECT_EQ(2u, sim.calls().size());                                                  \
        EXPECT_EQ(1u, sim.count_calls("JNI.SetStatic" #Name "Field"));                      \
        EXPECT_EQ("JNI.ExceptionOccurred()", sim.calls().back());                           \
        EXPECT_EQ(value_of_##name, agent_get_static_field_##name(NULL, clazz, id));         \
    }
    JNI_PRIMITIVES(CHECK)
#undef CHECK
}

TEST_P(Values, WhoseSettingRaisesGive113AndLeaveNoException) {
    const jobject value_of_object = NULL;
    jfieldID id = foo.add_field("any", "I").id();
#define CHECK(name, Name)                                                                                 \
    {                                                                                                     \
        SCOPED_TRACE(#name);                                                                              \
        sim.throw_in("JNI.Set" #Name "Field", exception);                                                 \
        sim.throw_in("JNI.SetStatic" #Name "Field", exception);                                           \
        CaptureStderr();                                                                                  \
        EXPECT_EQ(JVMDI_ERROR_INTERNAL, agent_set_field_##name(NULL, reference, id, value_of_##name));    \
        expect_told_and_cleared();                                                                        \
        CaptureStderr();                                                                                  \
        EXPECT_EQ(JVMDI_ERROR_INTERNAL, agent_set_static_field_##name(NULL, clazz, id, value_of_##name)); \
        expect_told_and_cleared();                                                                        \
    }
    JNI_TYPES(CHECK)
#undef CHECK
}

TEST_P(Values, ThatAreNoBooleansAreToldAndReturned) {
    jfieldID id = instance_field("flag", jboolean{2}).id();
    CaptureStdout();
    EXPECT_EQ(2, agent_get_field_boolean(sim.env(), reference, id));
    EXPECT_EQ("get_field_boolean() -> 2\n", GetCapturedStdout());

    object["flag"] = jboolean{1};
    jfieldID static_id = static_field("flag", jboolean{2}).id();
    CaptureStdout();
    EXPECT_EQ(1, agent_get_field_boolean(sim.env(), reference, id));
    EXPECT_EQ(2, agent_get_static_field_boolean(sim.env(), clazz, static_id));
    EXPECT_EQ("", GetCapturedStdout());
}

TEST_P(Values, ThatAreObjectsAreKeptUntilTheProcessResumes) {
    sim::Field& field = foo.add_field("next", "LFoo;");
    sim::Field& root = foo.add_field("root", "LFoo;", 0x9);
    object["next"] = &other;
    root.static_value = &object;

    jobject next = agent_get_field_object(NULL, reference, field.id());
    jobject first = agent_get_static_field_object(NULL, clazz, root.id());

    EXPECT_EQ(URef_find(sim.env(), other_reference), next);
    EXPECT_EQ(URef_find(sim.env(), reference), first);
    EXPECT_EQ(&other, sim.object(next));
    EXPECT_EQ(strings({"keep_alive uref table entry of " + object.label, "static field " + object.label,
                       "keep_alive uref table entry of " + other.label, "field " + other.label}),
              recorded());
    free_resources(sim.env());
    EXPECT_EQ(nullptr, URef_find(sim.env(), other_reference));
    EXPECT_FALSE(sim.is_global(next));
    EXPECT_FALSE(sim.is_global(first));
}

TEST_P(Values, ThatAreTheSameObjectHaveOneUref) {
    sim::Field& field = foo.add_field("next", "LFoo;");
    object["next"] = &other;
    jobject once = agent_get_field_object(NULL, reference, field.id());
    EXPECT_EQ(once, agent_get_field_object(NULL, reference, field.id()));
    EXPECT_EQ(3u, recorded().size());
    free_resources(sim.env());
}

TEST_P(Values, ThatAreNullStayNull) {
    sim::Field& field = foo.add_field("next", "LFoo;");
    sim::Field& root = foo.add_field("root", "LFoo;", 0x9);
    EXPECT_EQ(nullptr, agent_get_field_object(NULL, reference, field.id()));
    EXPECT_EQ(nullptr, agent_get_static_field_object(NULL, clazz, root.id()));
    EXPECT_EQ(strings(), recorded());
}

TEST_P(Values, ThatAreObjectsAreSetInFields) {
    sim::Field& field = foo.add_field("next", "LFoo;");
    sim::Field& root = foo.add_field("root", "LFoo;", 0x9);
    sim.clear_calls();
    EXPECT_EQ(0, agent_set_field_object(sim.env(), reference, field.id(), other_reference));
    EXPECT_EQ(setting("SetObjectField", object.label + ", Foo.next, " + other.label), sim.calls());
    EXPECT_EQ(&other, object["next"].object);
    sim.clear_calls();
    EXPECT_EQ(0, agent_set_static_field_object(sim.env(), clazz, root.id(), reference));
    EXPECT_EQ(setting("SetStaticObjectField", "Foo, Foo.root, " + object.label), sim.calls());
    EXPECT_EQ(&object, root.static_value.object);
}

/* ---- Array elements ---- */

struct ElementCopies : Values {};
SIM_MODES(ElementCopies, sim::Mode::jvmti10, sim::Mode::jvmdi);

TEST_P(ElementCopies, AreStoredAndReleased) {
#define CHECK(name, Name)                                                                \
    {                                                                                    \
        sim::Array& array = array_with(value_of_##name);                                 \
        auto handle = sim.local<j##name##Array>(&array);                                 \
        j##name value = j##name();                                                       \
        sim.clear_calls();                                                               \
        EXPECT_EQ(0, agent_get_##name##array_element(sim.env(), handle, 1, &value));     \
        EXPECT_EQ(value_of_##name, value);                                               \
        EXPECT_EQ(strings({call("Get" #Name "ArrayElements", array.label),               \
                           call("Release" #Name "ArrayElements", array.label + ", 0")}), \
                  sim.calls());                                                          \
        EXPECT_EQ(0, agent_get_##name##array_element(NULL, handle, 2, &value));          \
        EXPECT_EQ(j##name(), value);                                                     \
    }
    JNI_PRIMITIVES(CHECK)
#undef CHECK
    EXPECT_EQ(0u, sim.live_elements());
}

TEST_P(ElementCopies, ThatAreTheArraysOwnAreNotReleased){
#define CHECK(name, Name)                                                                                       \
    {                                                                                                           \
        sim::Array& array = array_with(value_of_##name);                                                        \
        array.is_copy = false;                                                                                  \
        j##name value = j##name();                                                                              \
        sim.clear_calls();                                                                                      \
        EXPECT_EQ(0, agent_get_##name##array_element(sim.env(), sim.local<j##name##Array>(&array), 1, &value)); \
        EXPECT_EQ(value_of_##name, value);                                                                      \
        EXPECT_EQ(strings({call("Get" #Name "ArrayElements", array.label)}), sim.calls());                      \
    }
    JNI_PRIMITIVES(CHECK)
#undef CHECK
}

TEST_P(ElementCopies, ThatTheVmDoesNotGiveAreZero) {
#define CHECK(name, Name)                                                                                              \
    {                                                                                                                  \
        j##name value = value_of_##name;                                                                               \
        sim.null_in("JNI.Get" #Name "ArrayElements");                                                                  \
        EXPECT_EQ(0, agent_get_##name##array_element(NULL, sim.local<j##name##Array>(&array_with(value)), 1, &value)); \
        EXPECT_EQ(j##name(), value);                                                                                   \
        EXPECT_EQ(0u, sim.count_calls("JNI.Release" #Name "ArrayElements"));                                           \
    }
    JNI_PRIMITIVES(CHECK)
#undef CHECK
}

/* A copy that is given back whole would undo what the program stored meanwhile. */
struct ElementRegions : Values {};
SIM_MODES(ElementRegions, sim::Mode::jvmti_newer);

TEST_P(ElementRegions, HoldTheElementThatIsAskedForAlone){
#define CHECK(name, Name)                                                                                       \
    {                                                                                                           \
        sim::Array& array = array_with(value_of_##name);                                                        \
        j##name value = j##name();                                                                              \
        sim.clear_calls();                                                                                      \
        EXPECT_EQ(0, agent_get_##name##array_element(sim.env(), sim.local<j##name##Array>(&array), 1, &value)); \
        EXPECT_EQ(value_of_##name, value);                                                                      \
        EXPECT_EQ(strings({call("Get" #Name "ArrayRegion", array.label + ", 1, 1")}),                           \
                  sim.calls_without({"JNI.Exception*"}));                                                       \
    }
    JNI_PRIMITIVES(CHECK)
#undef CHECK
}

TEST_P(ElementRegions, LeaveTheProgramsOwnStoresAlone) {
    sim::Array& array = array_with(value_of_int);
    sim.before("JNI.ReleaseIntArrayElements", [&] { array.at<jint>(0) = 77; });
    sim.before("JNI.GetIntArrayRegion", [&] { array.at<jint>(0) = 77; });
    jint value;
    EXPECT_EQ(0, agent_get_intarray_element(sim.env(), sim.local<jintArray>(&array), 1, &value));
    EXPECT_EQ(77, array.at<jint>(0));
}

TEST_P(ElementRegions, BeyondTheEndGive113AndZeroAndLeaveNoException) {
#define CHECK(name, Name)                                                                                         \
    for (const jint index : {-1, 1000}) {                                                                         \
        j##name value = value_of_##name;                                                                          \
        EXPECT_EQ(JVMDI_ERROR_INTERNAL, agent_get_##name##array_element(                                          \
                                            NULL, sim.local<j##name##Array>(&array_with(value)), index, &value)); \
        EXPECT_EQ(j##name(), value);                                                                              \
        EXPECT_EQ(nullptr, sim.pending());                                                                        \
    }
    JNI_PRIMITIVES(CHECK)
#undef CHECK
}

TEST_P(Values, OfArrayElementsAreSetOneAtATime){
#define CHECK(name, Name)                                                                                   \
    {                                                                                                       \
        sim::Array& array = array_with(j##name());                                                          \
        auto handle = sim.local<j##name##Array>(&array);                                                    \
        sim.clear_calls();                                                                                  \
        EXPECT_EQ(0, agent_set_##name##array_element(sim.env(), handle, 1, value_of_##name));               \
        EXPECT_EQ(0u, sim.calls().front().find("JNI.Set" #Name "ArrayRegion(" + array.label + ", 1, 1, ")); \
        EXPECT_EQ("JNI.ExceptionOccurred()", sim.calls().back());                                           \
        EXPECT_EQ(2u, sim.calls().size());                                                                  \
        EXPECT_EQ(j##name(), array.at<j##name>(0));                                                         \
        EXPECT_EQ(value_of_##name, array.at<j##name>(1));                                                   \
        EXPECT_EQ(j##name(), array.at<j##name>(2));                                                         \
    }
    JNI_PRIMITIVES(CHECK)
#undef CHECK
}

TEST_P(Values, OfElementsBeyondTheEndGive113AndLeaveNoException){
#define CHECK(name, Name)                                                                                   \
    {                                                                                                       \
        auto handle = sim.local<j##name##Array>(&array_with(value_of_##name));                              \
        CaptureStderr();                                                                                    \
        EXPECT_EQ(JVMDI_ERROR_INTERNAL, agent_set_##name##array_element(NULL, handle, 3, value_of_##name)); \
        EXPECT_NE(std::string::npos, GetCapturedStderr().find("IndexOutOfBounds"));                         \
        EXPECT_EQ(nullptr, sim.pending());                                                                  \
    }
    JNI_PRIMITIVES(CHECK)
#undef CHECK
}

TEST_P(Values, OfObjectArraysAreKeptUntilTheProcessResumes) {
    sim::Array& array = sim.new_object_array(foo, 2);
    auto handle = sim.local<jobjectArray>(&array);
    array.objects[1] = &other;
    sim.clear_calls();

    jobject element = agent_get_objarray_element(sim.env(), handle, 1);

    EXPECT_EQ(call("GetObjectArrayElement", array.label + ", 1"), sim.calls()[0]);
    EXPECT_EQ("JNI.ExceptionOccurred()", sim.calls()[1]);
    EXPECT_EQ(URef_find(sim.env(), other_reference), element);
    EXPECT_EQ(strings({"keep_alive uref table entry of " + other.label, "objarray[] " + other.label}), recorded());
    EXPECT_EQ(nullptr, agent_get_objarray_element(NULL, handle, 0));
    free_resources(sim.env());
    EXPECT_FALSE(sim.is_global(element));
}

TEST_P(Values, OfObjectArraysBeyondTheEndAreNullAndCannotBeSet) {
    auto handle = sim.local<jobjectArray>(&sim.new_object_array(foo, 2));
    CaptureStderr();
    EXPECT_EQ(nullptr, agent_get_objarray_element(NULL, handle, 2));
    EXPECT_EQ(JVMDI_ERROR_INTERNAL, agent_set_objarray_element(NULL, handle, 2, other_reference));
    EXPECT_EQ(2, occurrences("IndexOutOfBounds", GetCapturedStderr()));
    EXPECT_EQ(nullptr, sim.pending());
    EXPECT_EQ(strings(), recorded());
}

TEST_P(Values, OfObjectArraysAreSet) {
    sim::Array& array = sim.new_object_array(foo, 2);
    auto handle = sim.local<jobjectArray>(&array);
    sim.clear_calls();
    EXPECT_EQ(0, agent_set_objarray_element(sim.env(), handle, 1, other_reference));
    EXPECT_EQ(setting("SetObjectArrayElement", array.label + ", 1, " + other.label), sim.calls());
    EXPECT_EQ(&other, array.objects[1]);
}

/* ---- New arrays ---- */

TEST_P(Values, AreHeldByNewArraysUntilTheProcessResumes){
#define CHECK(name, Name)                                                                                     \
    {                                                                                                         \
        j##name##Array stored = NULL;                                                                         \
        sim.clear_calls();                                                                                    \
        j##name##Array returned = agent_new_##name##array(sim.env(), 4, &stored);                             \
        EXPECT_EQ("JNI.New" #Name "Array(4)", sim.calls().front());                                           \
        EXPECT_EQ(URef_find(sim.env(), returned), stored);                                                    \
        auto* array = sim.object_as<sim::Array>(stored);                                                      \
        EXPECT_EQ(array, sim.object(returned));                                                               \
        EXPECT_EQ(4, array->length);                                                                          \
        EXPECT_EQ(sim::Value(j##name()).type, array->element_type);                                           \
        EXPECT_EQ(strings({"keep_alive uref table entry of " + array->label, #name "array " + array->label}), \
                  recorded());                                                                                \
        free_resources(sim.env());                                                                            \
        EXPECT_FALSE(sim.is_global(stored));                                                                  \
        EXPECT_NE((void*)NULL, agent_new_##name##array(NULL, 0, &stored));                                    \
        free_resources(sim.env());                                                                            \
    }
    JNI_PRIMITIVES(CHECK)
#undef CHECK
}

TEST_P(Values, AreReturnedInALocalReferenceByANewBooleanArrayAlone) {
    jbooleanArray booleans;
    EXPECT_TRUE(sim.is_local(agent_new_booleanarray(NULL, 1, &booleans)));
    EXPECT_TRUE(sim.is_global(booleans));
#define CHECK(name, Name)                                             \
    {                                                                 \
        j##name##Array stored;                                        \
        EXPECT_EQ(agent_new_##name##array(NULL, 1, &stored), stored); \
        EXPECT_TRUE(sim.is_global(stored));                           \
    }
    JNI_NUMBERS(CHECK)
#undef CHECK
    free_resources(sim.env());
}

TEST_P(Values, HaveNoArrayOfANegativeLength) {
#define CHECK(name, Name)                                                            \
    {                                                                                \
        auto stored = (j##name##Array)reference;                                     \
        CaptureStderr();                                                             \
        EXPECT_EQ(nullptr, agent_new_##name##array(NULL, -1, &stored));              \
        EXPECT_NE(std::string::npos, GetCapturedStderr().find("NegativeArraySize")); \
        EXPECT_EQ(nullptr, stored);                                                  \
        EXPECT_EQ(nullptr, sim.pending());                                           \
    }
    JNI_PRIMITIVES(CHECK)
#undef CHECK
    EXPECT_EQ(strings(), recorded());
}

TEST_P(Values, ThatAreObjectsAreHeldByNewArrays) {
    sim.clear_calls();
    jobjectArray made = agent_new_objectarray(NULL, 2, clazz, other_reference);
    EXPECT_EQ(1u, sim.calls_of({"JNI.NewObjectArray"}).size());
    auto* array = sim.object_as<sim::Array>(made);
    EXPECT_EQ(&other, array->objects[1]);
    EXPECT_TRUE(sim.is_global(made));
    EXPECT_EQ(strings({"keep_alive uref table entry of " + array->label, "objarray " + array->label}), recorded());
    free_resources(sim.env());

    CaptureStderr();
    EXPECT_EQ(nullptr, agent_new_objectarray(NULL, -1, clazz, NULL));
    EXPECT_NE(std::string::npos, GetCapturedStderr().find("NegativeArraySize"));
    EXPECT_EQ(nullptr, sim.pending());
}

TEST_P(Values, ThatTheVmGivesBesideAnExceptionAreNotHandedOut) {
    sim::Array& array = sim.new_object_array(foo, 1);
    array.objects[0] = &other;
    jintArray ints = (jintArray)reference;
    jbooleanArray booleans = (jbooleanArray)reference;
    sim.before("JNI.ExceptionOccurred", [this] { sim.set_pending(&exception); });
    CaptureStderr();

    EXPECT_EQ(nullptr, agent_get_objarray_element(NULL, sim.local<jobjectArray>(&array), 0));
    EXPECT_EQ(nullptr, agent_new_intarray(NULL, 1, &ints));
    EXPECT_EQ(nullptr, agent_new_booleanarray(NULL, 1, &booleans));
    EXPECT_EQ(nullptr, agent_new_objectarray(NULL, 1, clazz, NULL));

    EXPECT_EQ(4, occurrences("told to", GetCapturedStderr()));
    EXPECT_EQ(nullptr, ints);
    EXPECT_EQ(nullptr, booleans);
    EXPECT_EQ(strings(), recorded());
}
