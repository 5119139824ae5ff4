import com.sun.jdi.Bootstrap;
import com.sun.jdi.ReferenceType;
import com.sun.jdi.VMDisconnectedException;
import com.sun.jdi.VirtualMachine;
import com.sun.jdi.connect.AttachingConnector;
import com.sun.jdi.connect.Connector;
import com.sun.jdi.event.EventSet;
import com.sun.jdi.request.EventRequest;
import com.sun.jdi.request.EventRequestManager;
import com.sun.jdi.request.MethodEntryRequest;
import java.util.Map;

/**
 * The smallest debugger over the JDK's own agent: asks for one kind of event, which stops all threads, counts, and goes on.
 *
 * <p>Arguments: the agent's port; what to ask for ("breakpoint", "exception", "entry", "prepare", "classes" for one list of all
 * classes with the program suspended, "nothing"); the class; for a breakpoint, its method.
 */
class StopClient {
    static VirtualMachine attach(String port) throws Exception {
        for (AttachingConnector each : Bootstrap.virtualMachineManager().attachingConnectors()) {
            if (!each.name().equals("com.sun.jdi.SocketAttach")) continue;
            Map<String, Connector.Argument> arguments = each.defaultArguments();
            arguments.get("hostname").setValue("127.0.0.1");
            arguments.get("port").setValue(port);
            return each.attach(arguments);
        }
        throw new IllegalStateException("no connector");
    }

    static EventRequest breakpoint(VirtualMachine vm, String clazz, String method) {
        ReferenceType type = vm.classesByName(clazz).get(0);
        return vm.eventRequestManager().createBreakpointRequest(type.methodsByName(method).get(0).location());
    }

    static EventRequest entry(EventRequestManager manager, String clazz) {
        MethodEntryRequest request = manager.createMethodEntryRequest();
        request.addClassFilter(clazz);
        return request;
    }

    static void listClasses(VirtualMachine vm) {
        vm.suspend();
        System.out.println("classes=" + vm.allClasses().size());
        vm.resume();
    }

    static void ask(VirtualMachine vm, String[] arguments) {
        EventRequestManager manager = vm.eventRequestManager();
        switch (arguments[1]) {
            case "breakpoint" -> breakpoint(vm, arguments[2], arguments[3]).enable();
            case "exception" -> manager.createExceptionRequest(null, true, true).enable();
            case "entry" -> entry(manager, arguments[2]).enable();
            case "prepare" -> manager.createClassPrepareRequest().enable();
            case "classes" -> listClasses(vm);
            default -> { }
        }
    }

    public static void main(String[] arguments) throws Exception {
        VirtualMachine vm = attach(arguments[0]);
        ask(vm, arguments);
        System.out.println("set");
        int stops = 0;
        try {
            for (;;) {
                EventSet events = vm.eventQueue().remove();
                stops++;
                events.resume();
            }
        } catch (VMDisconnectedException end) {
            System.out.println("events=" + stops);
        }
    }
}
