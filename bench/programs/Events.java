/**
 * Does what raises one kind of event, over and over, and tells the nanoseconds that one takes.
 *
 * <p>Arguments: "exception", "entry" or "prepare"; "loaded" for no debugger, "inside" or "outside"; the library; how often.
 */
class Events {
    static int sink;

    static void raise() {
        throw new IllegalStateException();
    }

    static void exceptions(int times) {
        for (int i = 0; i < times; i++) {
            try {
                raise();
            } catch (IllegalStateException expected) {
                sink++;
            }
        }
    }

    static void enter() {
        sink++;
    }

    static void entries(int times) {
        for (int i = 0; i < times; i++) enter();
    }

    static void prepare(int times) throws ReflectiveOperationException {
        Many many = new Many();
        for (int i = 0; i < times; i++) sink += many.make().getModifiers();
    }

    static void raise(String what, int times) throws ReflectiveOperationException {
        switch (what) {
            case "exception" -> exceptions(times);
            case "entry" -> entries(times);
            default -> prepare(times);
        }
    }

    public static void main(String[] arguments) throws Exception {
        String what = arguments[0];
        int times = Integer.parseInt(arguments[3]);
        raise(what, times / 5 + 1);
        Bench.attach(arguments[1], arguments[2]);
        if (arguments[1].equals("inside")) Agent.listen(what);
        long begin = System.nanoTime();
        raise(what, times);
        long taken = System.nanoTime() - begin;
        if (arguments[1].equals("inside") && Agent.delivered() < times) throw new IllegalStateException(Agent.delivered() + " events");
        Bench.figure(what, taken / times);
    }
}
