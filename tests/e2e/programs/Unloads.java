import java.io.IOException;
import java.io.InputStream;
import java.lang.ref.WeakReference;
import java.util.ArrayList;
import java.util.List;

/** Loads a class through many loaders, lets them go, and ends with 5 when nearly all of them are unloaded, with 6 when not. */
class Unloads {
    static class Small {
    }

    static class Loader extends ClassLoader {
        Class<?> define(byte[] code) {
            return defineClass("Unloads$Small", code, 0, code.length);
        }
    }

    static void loaded() {
    }

    static List<WeakReference<Class<?>>> load(int count) throws IOException {
        byte[] code;
        try (InputStream file = Unloads.class.getResourceAsStream("Unloads$Small.class")) {
            code = file.readAllBytes();
        }
        List<WeakReference<Class<?>>> classes = new ArrayList<>();
        for (int i = 0; i < count; i++) {
            Class<?> made = new Loader().define(code);
            made.getDeclaredMethods(); /* links it, which prepares it */
            classes.add(new WeakReference<>(made));
        }
        return classes;
    }

    static long left(List<WeakReference<Class<?>>> classes) {
        return classes.stream().filter(each -> each.get() != null).count();
    }

    public static void main(String[] arguments) throws Exception {
        int count = Integer.parseInt(arguments[0]);
        List<WeakReference<Class<?>>> classes = load(count);
        System.gc();
        System.out.println("left while attached " + left(classes));
        loaded();
        long end = System.nanoTime() + 15_000_000_000L;
        while (left(classes) > count / 100 && System.nanoTime() < end) {
            System.gc();
            Thread.sleep(50);
        }
        System.out.println("left " + left(classes));
        System.exit(left(classes) <= count / 100 ? 5 : 6);
    }
}
