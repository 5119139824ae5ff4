import java.lang.reflect.Field;

/** Faults that are a VM's everyday business, then one that is none. */
class Faults {
    static int field;
    int value;
    static final int UNTIL_TOLD = 9;
    static final int IN_COMPILED_CODE = 100;

    static int implicitNullCheck(Faults faults) {
        return faults.value;
    }

    static void start(int end) throws Exception {
        Field instance = sun.misc.Unsafe.class.getDeclaredField("theUnsafe");
        instance.setAccessible(true);
        sun.misc.Unsafe unsafe = (sun.misc.Unsafe) instance.get(null);
        Mix.announce();
        Descent.bottom(UNTIL_TOLD);
        Faults some = new Faults();
        long address = unsafe.allocateMemory(8);
        for (int i = 0; i < 30_000; i++) {
            field += implicitNullCheck(some) + peek(unsafe, address);
        }
        for (int i = 0; i < 3_000; i++) {
            try {
                field += implicitNullCheck(null);
            } catch (NullPointerException expected) {
                field++;
            }
        }
        System.gc(); // threads are stopped at their polls
        if (end == IN_COMPILED_CODE) {
            field += peek(unsafe, 0x60);
        }
        Descent.bottom(end);
    }

    static int peek(sun.misc.Unsafe unsafe, long address) {
        return unsafe.getInt(address);
    }
}
