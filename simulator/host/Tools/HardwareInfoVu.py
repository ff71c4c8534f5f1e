"""What kind of receiver this is."""


class HardwareInfoVu(object):

    device_name = None  # the model key

    def get_device_name(self):
        return self.device_name
