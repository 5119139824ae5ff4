import java.io.IOException;
import java.nio.file.Files;
import java.nio.file.Path;

/** Places to stop at: an anonymous class, a lambda, a constructor, a static initialiser, a method that is called very often. */
public class Stops {
    interface Number {
        int of(int base);
    }

    static class Never {
        static void called() {
            System.out.println("never");
        }
    }

    static final class Last extends RuntimeException {
    }

    static void thrown() {
        try {
            throw new Last();
        } catch (RuntimeException last) {
            try {
                Integer.parseInt("last");
            } catch (NumberFormatException none) {
                System.out.println("thrown");
            }
        }
    }

    /** Loaded by as many loaders as wanted. */
    static class Loaded {
        static final int VALUE;
        static int number;

        static {
            VALUE = 7; // LOADED
        }

        static int own() {
            return VALUE + number; // OWN
        }
    }

    static class Loader extends ClassLoader {
        Class<?> load() throws IOException {
            byte[] data = Files.readAllBytes(Path.of(System.getProperty("java.class.path"), "Stops$Loaded.class"));
            return defineClass("Stops$Loaded", data, 0, data.length);
        }
    }

    final int start;

    Stops(int start) {
        this.start = start;
    }

    int anonymous() {
        return new Number() {
            @Override
            public int of(int base) {
                return base + start; // ANONYMOUS
            }
        }.of(1);
    }

    static int lambda() {
        Number number = base -> {
            return base * 2; // LAMBDA
        };
        return number.of(3);
    }

    static int often(int round, String name, long wide, boolean odd) {
        int length = name.length();
        return round + length; // OFTEN
    }

    static int cleaned(int divisor) {
        int result = 0;
        try {
            result = 10 / divisor;
        } catch (ArithmeticException none) {
            return -1;
        } finally {
            result++; // FINALLY
        }
        return result;
    }

    static void overloaded(int number) {
        System.out.println("int " + number);
    }

    static void overloaded(String text) {
        System.out.println("text " + text);
    }

    static void hammer(int rounds) {
        int sum = 0;
        for (int round = 0; round < rounds; round++) {
            sum += often(round, "n" + round % 10, (long) round << 32, round % 2 == 1);
        }
        System.out.println("sum " + sum);
    }

    static void loadMany(int loaders) throws Exception {
        int sum = 0;
        for (int i = 0; i < loaders; i++) {
            Class<?> loaded = new Loader().load();
            var value = loaded.getDeclaredField("VALUE");
            value.setAccessible(true);
            sum += value.getInt(null);
            var number = loaded.getDeclaredField("number");
            number.setAccessible(true);
            number.setInt(null, i);
            var own = loaded.getDeclaredMethod("own");
            own.setAccessible(true);
            own.invoke(null);
        }
        System.out.println("loaded " + sum);
    }

    /** ROUNDS LOADERS [throw]: how often `often` is called, how many loaders load a class, whether exceptions are thrown. */
    public static void main(String[] arguments) throws Exception {
        System.out.println("values " + new Stops(5).anonymous() + " " + lambda());
        overloaded(4);
        overloaded("four");
        System.out.println("cleaned " + cleaned(5) + " " + cleaned(0));
        Thread worker = new Thread(() -> overloaded(5), "worker");
        worker.start();
        worker.join();
        hammer(Integer.parseInt(arguments[0]));
        loadMany(Integer.parseInt(arguments[1]));
        if (arguments.length > 2) {
            thrown();
        }
        System.exit(9);
    }
}
